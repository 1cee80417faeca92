#ifndef BW_FUZZ_REQUIRE_H
#define BW_FUZZ_REQUIRE_H

#include <cstdlib>
#include <iostream>

/// Ends the fuzzer, which keeps the input, when something does not hold that must.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "Violated: " << what << std::endl;
    std::abort();
  }
}

#endif  // BW_FUZZ_REQUIRE_H
