#pragma once

#include <base/qvBaseApi.h>
#include <base/values/rational.h>

#include <cstdint>

namespace Qv {

/// A reference clock: a count that grows at a fixed rate, from a start of its own.
///
/// Threads: the operations are called from any thread.
class QV_BASE_API DtRefClockSource {
public:
    /// `name` is kept, not copied. `rate` is in counts a second; `resolution` is the shortest time
    /// that the count can measure, in seconds.
    DtRefClockSource( const char* name, Rational rate, Rational resolution ) noexcept;
    DtRefClockSource( const DtRefClockSource& ) = delete;
    DtRefClockSource& operator=( const DtRefClockSource& ) = delete;
    virtual ~DtRefClockSource();

    const char* getName() const noexcept { return _name; }
    const Rational& getRate() const noexcept { return _rate; }
    const Rational& getResolution() const noexcept { return _resolution; }
    virtual std::uint64_t getCount() const = 0;

    /// The name in the errors of DtRefTimeFactory.
    static const char* getSingletonName() noexcept { return "DtRefClockSource"; }

private:
    const char* _name;
    Rational _rate;
    Rational _resolution;
};

} // namespace Qv
