#include <resmgt/threads/src/posix/mtThreadNamePosix.h>

#include <base/failure/assertions.h>
#include <base/text/printable.h>

#include <algorithm>

#include <pthread.h>

namespace Qv {

namespace {

constexpr std::size_t MAX_SIZE = 15;

bool isContinuation( char byte ) {
    return ( static_cast<unsigned char>( byte ) & 0xC0 ) == 0x80;
}

} // namespace

std::string MtThreadNamePosix::makeShown( std::string_view name ) {
    const std::string clean = Printable::makeLine( name );
    if( clean.size() <= MAX_SIZE ) {
        return clean;
    }
    const std::size_t numberAt = clean.find_last_not_of( "0123456789" ) + 1;
    const std::size_t numberSize = std::min( clean.size() - numberAt, MAX_SIZE );
    std::size_t headSize = MAX_SIZE - numberSize;
    while( headSize > 0 && isContinuation( clean[headSize] ) ) {
        --headSize;
    }
    return clean.substr( 0, headSize ) + clean.substr( clean.size() - numberSize );
}

void MtThreadNamePosix::applyToCurrent( const std::string& name ) {
    QV_SYS_CALL_ASSERT( ::pthread_setname_np( ::pthread_self(), makeShown( name ).c_str() ) );
}

} // namespace Qv
