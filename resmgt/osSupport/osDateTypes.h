#pragma once

#include <base/failure/assertions.h>
#include <resmgt/resmgtApi.h>

#include <compare>
#include <cstdint>

/// Points in time, of files and of the calendar's clock.
namespace Qv::OsDateTypes {

/// A point in time to the nanosecond: seconds since the start of 1970, UTC, without leap seconds,
/// and the nanoseconds after that second. It may lie before 1970, with negative seconds.
///
/// Order: from older to newer, by `<`, `==` and their relatives; OsDateUtil::compare names the
///        outcome.
/// Errors: nanoseconds of a whole second or more are an assertion.
class QV_RESMGT_API DateRep {
public:
    /// Nanoseconds in a second.
    static constexpr std::int64_t NS_PER_SECOND = 1'000'000'000;

    /// The start of 1970.
    constexpr DateRep() noexcept = default;
    constexpr DateRep( std::int64_t seconds, std::int64_t nanoseconds )
        : _seconds( seconds )
        , _nanoseconds( static_cast<std::int32_t>( nanoseconds ) ) {
        QV_ASSERT( nanoseconds >= 0 && nanoseconds < NS_PER_SECOND );
    }

    constexpr std::int64_t getSeconds() const noexcept { return _seconds; }
    /// 0 to 999,999,999.
    constexpr std::int32_t getNanoseconds() const noexcept { return _nanoseconds; }

    friend constexpr auto operator<=>( const DateRep&, const DateRep& ) noexcept = default;

private:
    // In this order: the comparison goes from field to field.
    std::int64_t _seconds = 0;
    std::int32_t _nanoseconds = 0;
};

/// The result of comparing a date with another.
enum Comparison : int { OLDER = -1, SAME = 0, NEWER = 1 };

} // namespace Qv::OsDateTypes
