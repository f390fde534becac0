// Objects of every kind that gdb's printers show; gdbTest.py stops in `stop` and looks at them.

#include <base/ownership/aPtr.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <base/ownership/rcWeakPtr.h>
#include <base/ownership/uPtr.h>
#include <mediaTiles/mediaTiles.h>
#include <resmgt/literals/liString.h>
#include <resmgt/osal/osFilePath.h>

namespace {

struct Node : Qv::RCBase<Qv::LkCounter<int>> {
    int number = 7;
};

extern "C" void stop();

extern "C" [[gnu::noinline]] void stop() {
    asm volatile( "" ); // Isn't left out.
}

} // namespace

int main( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );

    const Qv::LiString text( "two\nlines" );
    const Qv::OsFilePath emptyPath;
    const Qv::OsFilePath path( "/studio/shots/0010.exr" );
    const Qv::OsFilePath relativePath( "shots\\..\\plates" );
    const Qv::OsFilePath drivePath( "./c:/plates" );

    const Qv::OPtr<int> owner( new int( 5 ) );
    const Qv::OPtr<int> nullOwner;
    const Qv::APtr<char> array( new char[2]{ 'x', 'y' } );
    int plainInt = 3;
    const Qv::UPtr<int> plain( &plainInt );
    const Qv::RCShdPtr<Node> shared( new Node );
    const Qv::RCShdPtr<Node> second = shared;
    Qv::RCStrongPtr<int> strong( new int( 9 ) );
    const Qv::RCWeakPtr<int> weak( strong );
    Qv::RCStrongPtr<int> shortStrong( new int( 1 ) );
    const Qv::RCWeakPtr<int> expired( shortStrong );
    shortStrong = Qv::RCStrongPtr<int>();

    Qv::CtServer::configure( argv[1] );
    Qv::TiBufferFactory factory( 1 << 20 );
    const Qv::MbBuffer none;
    const Qv::MbBuffer fresh = factory.create( "fresh", 4096 );
    Qv::MbBuffer tile = factory.create( "tile", 65536 );
    const Qv::MbBufferWrGuardImp guard( tile );

    stop();
    return 0;
}
