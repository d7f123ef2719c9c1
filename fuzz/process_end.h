/// \file process_end.h
/// Included before everything else in the library's fuzzed build: a documented process end becomes an exception there, so that a
/// target sees it as an outcome and goes on.
#ifndef LEOPOD_FUZZ_PROCESS_END_H
#define LEOPOD_FUZZ_PROCESS_END_H

#include <cstdlib>

namespace fuzz {

struct ProcessEnd {
    int status;
};

}  // namespace fuzz

namespace std {
[[noreturn]] inline void fuzz_exit(int status) { throw fuzz::ProcessEnd{status}; }
}  // namespace std

#define exit fuzz_exit

#endif
