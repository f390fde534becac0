#pragma once

#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// A date as users read it: a point in time, written in local time.
///
/// Threads: as any value.
/// Errors:  those of OsDateUtil.
class QV_RESMGT_API LiDate {
public:
    /// The start of 1970.
    LiDate() noexcept = default;
    explicit LiDate( const OsDateTypes::DateRep& rep ) noexcept
        : _rep( rep ) {}

    /// The present time.
    static LiDate now() noexcept { return LiDate( OsDateUtil::now() ); }
    /// The result of comparing `date` with `other`: OLDER is -1, SAME 0, NEWER 1.
    static OsDateTypes::Comparison compare( const LiDate& date, const LiDate& other ) noexcept {
        return OsDateUtil::compare( date._rep, other._rep );
    }

    /// Local time in a format of `strftime`: "%y-%m-%d".
    std::string getText( const char* format ) const {
        return OsDateUtil::toLocalText( _rep, format );
    }
    const OsDateTypes::DateRep& getRep() const noexcept { return _rep; }

private:
    OsDateTypes::DateRep _rep;
};

} // namespace Qv
