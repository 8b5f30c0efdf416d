/* Preloaded into a daemon that shall not make its key pairs, which is the larger part of what a run
 * costs: it gets ready ones, each once, from the store that the laboratory shows to all units.
 * Which comes first is the laboratory's choice; how many were handed out over all lives of the
 * daemon is the size of a file that the laboratory reads at the end. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

static unsigned first;
static unsigned count;

__attribute__((constructor)) static void begin(void) {
  unsetenv("LD_PRELOAD"); /* the daemon's commands make no keys */
  const char* store = getenv("LAB_READY_KEYS");
  if (store == NULL || sscanf(store, "%u of %u", &first, &count) != 2) {
    count = 0;
  }
}

/* Counts the pair that is asked for; how many there were before. */
static long count_up(void) {
  struct stat status;
  const int fd = open("/run/lab/keys", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  const int counted = fd >= 0 && write(fd, "k", 1) == 1 && fstat(fd, &status) == 0;
  close(fd);
  return counted ? (long)status.st_size - 1 : -1;
}

static RSA* read_pair(void) {
  char path[64];
  const long nth = count_up();
  if (count == 0 || nth < 0) {
    return NULL;
  }
  snprintf(path, sizeof path, "/run/keys/%04lu.pem", (first + (unsigned long)nth) % count);
  FILE* file = fopen(path, "re");
  RSA* pair = file != NULL ? PEM_read_RSAPrivateKey(file, NULL, NULL, NULL) : NULL;
  if (file != NULL) {
    fclose(file);
  }
  return pair;
}

int RSA_generate_key_ex(RSA* key, int bits, BIGNUM* exponent, BN_GENCB* progress) {
  (void)exponent;
  (void)progress;
  RSA* ready = read_pair();
  if (ready == NULL || RSA_bits(ready) != bits) {
    RSA_free(ready);
    return 0;
  }
  const BIGNUM *n, *e, *d, *p, *q, *dp, *dq, *inverse;
  RSA_get0_key(ready, &n, &e, &d);
  RSA_get0_factors(ready, &p, &q);
  RSA_get0_crt_params(ready, &dp, &dq, &inverse);
  RSA_set0_key(key, BN_dup(n), BN_dup(e), BN_dup(d));
  RSA_set0_factors(key, BN_dup(p), BN_dup(q));
  RSA_set0_crt_params(key, BN_dup(dp), BN_dup(dq), BN_dup(inverse));
  RSA_free(ready);
  return 1;
}
