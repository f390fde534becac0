// What a user's first program does with the installed libraries: starts the packages, and catches
// exceptions that the libraries raise, by their own types and by those of their families.

#include <base/failure/assertions.h>
#include <base/failure/floatUtil.h>
#include <base/init/inInitGuard.h>
#include <resmgt/memoryBuffers/mbBuffer.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbEx.h>

#include <cstdio>
#include <cstring>

namespace {

void failInBase() {
    Qv::Assertions::throwAssertionFailed( QV_HERE, "raised in the library" );
}

void failInTemplateOfBase() {
    Qv::FloatUtil::ThrowAssertionFailed<float, 0>::throwAssertionFailed(
        QV_HERE, "ratio", " is greater than ", "0.0f", 0.0F, 0.0F, 0.0F );
}

void failInResmgt() {
    Qv::MbBuffer none;
    const Qv::MbBufferWrGuardImp guard( none );
}

template <class Ex>
bool isCaughtAs( void ( *fail )(), const char* text ) {
    try {
        fail();
    } catch( const Ex& failure ) {
        return std::strstr( failure.what(), text ) != nullptr;
    } catch( ... ) {}
    std::printf( "not caught: %s\n", text );
    return false;
}

} // namespace

int main( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );
    const bool isCaught =
        isCaughtAs<Qv::ExAssertionFailed>( failInBase, "raised in the library" ) &&
        isCaughtAs<Qv::ExBase>( failInBase, "raised in the library" ) &&
        isCaughtAs<Qv::ExAssertionFailed>( failInTemplateOfBase, "ratio is greater than 0.0f" ) &&
        isCaughtAs<Qv::MbEx::ExInvalidArgument>( failInResmgt, "Buffer is empty" ) &&
        isCaughtAs<Qv::MbEx>( failInResmgt, "Buffer is empty" );
    std::puts( isCaught ? "caught" : "failed" );
    return isCaught ? 0 : 1;
}
