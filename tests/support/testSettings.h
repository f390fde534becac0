#pragma once

#include <cstdint>

namespace Qv {

/// The seed of this run: the value of `QV_TEST_SEED`, else a fresh one. The first call prints it in
/// the form in which the environment takes it back.
std::uint64_t testSeed();

/// The part of its full work that a test does, at least 1: `count` times the value of
/// `QV_TEST_SCALE`, else 1, times 0.2 under the address sanitizer and 0.1 under the thread
/// sanitizer.
long scaledCount( long count );

/// How much longer than in an ordinary build work may last here: the sanitizer's slow-down, times
/// `QV_TEST_SCALE` where that is more than 1.
double testSlowdown();

} // namespace Qv
