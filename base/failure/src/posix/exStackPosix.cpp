#include <base/failure/src/exStack.h>

#include <base/text/typeName.h>

#include <dlfcn.h>
#include <execinfo.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace Qv {

namespace {

void writeFrame( std::ostream& text, void* address ) {
    Dl_info info{};
    text << address;
    if( ::dladdr( address, &info ) != 0 ) {
        if( info.dli_sname != nullptr ) {
            text << "  " << TypeName::makeReadable( info.dli_sname );
        }
        if( info.dli_fname != nullptr ) {
            text << "  (" << info.dli_fname << "+0x" << std::hex
                 << static_cast<char*>( address ) - static_cast<char*>( info.dli_fbase ) << std::dec
                 << ')';
        }
    }
    text << '\n';
}

} // namespace

[[gnu::noinline]] CallStack captureStack() noexcept {
    // The first call loads the unwinder; whoever raises a system error still wants its errno.
    const int error = errno;
    CallStack stack;
    stack._depth = ::backtrace( stack._frames.data(), static_cast<int>( stack._frames.size() ) );
    errno = error;
    return stack;
}

std::string stackText( const CallStack& stack ) {
    std::ostringstream text;
    for( void* const address : stack.frames() ) {
        writeFrame( text, address );
    }
    return std::move( text ).str();
}

} // namespace Qv
