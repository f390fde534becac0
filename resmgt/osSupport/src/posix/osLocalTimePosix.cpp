#include <resmgt/osSupport/src/osLocalTime.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <time.h>

namespace Qv {

std::tm osLocalTime( std::int64_t seconds ) {
    const std::time_t time = seconds;
    std::tm fields{};
    if( ::localtime_r( &time, &fields ) == nullptr ) {
        throw ExSysErrorWindows( QV_HERE, "OsDateUtil::toLocalText" );
    }
    return fields;
}

} // namespace Qv
