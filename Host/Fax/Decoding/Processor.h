// Code for processors that have more instructions than the first ones of their kind.
#pragma once

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>

// Makes the function, and whatever it calls and can be inlined, out of the instructions that
// count leading zeros and shift without flags.
#define FAX_WITH_BMI [[gnu::target("lzcnt,bmi,bmi2"), gnu::flatten]]

namespace fax {

// Whether the processor has these instructions. LZCNT is asked for by itself: without it its
// code is taken as another instruction.
inline bool HasBmi() {
  static const bool bHasBmi = [] {
    unsigned int a, b, c, d;
    constexpr unsigned int kExtended = 0x80000001;
    const bool bLzcnt = __get_cpuid(kExtended, &a, &b, &c, &d) != 0 && (c & bit_LZCNT) != 0;
    return bLzcnt && __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_BMI) != 0 &&
           (b & bit_BMI2) != 0;
  }();
  return bHasBmi;
}

}  // namespace fax
#else
#define FAX_WITH_BMI

namespace fax {
inline bool HasBmi() { return false; }
}  // namespace fax
#endif
