// What a user's first program does with the installed libraries: starts the packages, and catches
// an exception that a library raises, by its own type and by that of its family.

#include <base/failure/assertions.h>
#include <base/init/inInitGuard.h>

#include <cstdio>
#include <cstring>

namespace {

template <class Ex>
bool isCaughtAs() {
    try {
        Qv::Assertions::throwAssertionFailed( QV_HERE, "raised in the library" );
    } catch( const Ex& failure ) {
        return std::strstr( failure.what(), "raised in the library" ) != nullptr;
    } catch( ... ) {
        return false;
    }
}

} // namespace

int main( int argc, char** argv ) {
    const char* const* arguments = argv;
    const Qv::InInitGuard packages( argc, arguments );
    const bool isCaught = isCaughtAs<Qv::ExAssertionFailed>() && isCaughtAs<Qv::ExBase>();
    std::puts( isCaught ? "caught" : "not caught" );
    return isCaught ? 0 : 1;
}
