// What the service tells whoever looks after the box.
#ifndef PLATFORM_LINUX_RADIO_JOURNAL_H
#define PLATFORM_LINUX_RADIO_JOURNAL_H

namespace radio {

// One line for the journal.
__attribute__((format(printf, 1, 2))) void say(const char* format, ...);

}  // namespace radio

#endif
