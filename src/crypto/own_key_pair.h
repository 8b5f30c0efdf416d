// The daemon's own key pair over the life of a mode: what could not be written when the mode was
// entered, say on a full disk, is made again when the handshake needs it.
#ifndef VORLENT_CRYPTO_OWN_KEY_PAIR_H
#define VORLENT_CRYPTO_OWN_KEY_PAIR_H

// Makes a new pair, with a line in the log where it does not reach its files. The line comes once
// until a pair does.
void make_own_key_pair();

// Makes the pair again if the last attempt has failed and is a second ago; for the operations that
// come before the keys.
void renew_missing_key_pair();

#endif
