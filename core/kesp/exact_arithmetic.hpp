#pragma once

#include <cfloat>
#include <limits>

/// Refuses to compile where doubles would not be computed as the core's results need them. All of
/// core/kesp that computes with doubles includes this, most of it through model_time.hpp; the one
/// product in core/runtime, of an integer below 2^53 and a power of two, is exact however it is
/// compiled.

#if defined(__FAST_MATH__) || defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__                \
    || defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__)
#error "the core's results are fixed to the last bit: build it without fast-math"
#endif
#if !defined(FLT_EVAL_METHOD) || FLT_EVAL_METHOD != 0
#error                                                                                             \
    "the core's results are fixed to the last bit: doubles must be evaluated as doubles (FLT_EVAL_METHOD 0)"
#endif

static_assert(std::numeric_limits<double>::is_iec559 && std::numeric_limits<double>::digits == 53,
              "the core's results are fixed to the last bit: double must be IEC 559 binary64");
