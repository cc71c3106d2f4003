// The export macro of libtalmon. Everything in include/talmon/ that users may call carries
// TALMON_EXPORT; the rest of the library is built with hidden visibility.
#pragma once

#if defined(TALMON_BUILDING)
#define TALMON_EXPORT __attribute__((visibility("default")))
#else
#define TALMON_EXPORT
#endif
