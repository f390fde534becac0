#include <base/values/src/systemRandom.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>

#include <cerrno>

#include <sys/random.h>

namespace Qv {

void fillFromSystemRandom( std::span<std::uint8_t> bytes ) {
    while( !bytes.empty() ) {
        const ssize_t count = getrandom( bytes.data(), bytes.size(), 0 );
        if( count < 0 ) {
            if( errno == EINTR ) {
                continue;
            }
            throw ExSysErrorANSI( QV_HERE, "getrandom" );
        }
        bytes = bytes.subspan( static_cast<std::size_t>( count ) );
    }
}

} // namespace Qv
