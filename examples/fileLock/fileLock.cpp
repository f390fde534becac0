// Two that want to work on one file: one has its lock, the other is refused, waits, and gets it
// when the first has saved its work and is done.

#include <base/failure/exBase.h>
#include <base/init/inInitGuard.h>
#include <resmgt/fileLocks/osFileLock.h>

#include <cstdio>
#include <thread>

namespace {

// Hears of the loss of a lock, and of its regain, on another thread.
class LossReport : public Qv::OsFileLock::Callback {
public:
    void call( const bool& isHeld ) override {
        std::printf( "the lock is %s\n", isHeld ? "held again" : "lost" );
    }
};

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    const Qv::OsFilePath path( argc > 1 ? argv[1] : "shot.exr" );

    LossReport report;
    Qv::OPtr<Qv::OsFileLock> first( Qv::OsFileLock::lock( path ) );
    if( first.isNull() ) {
        std::printf( "somebody works on %s already\n", path.getChars() );
        return 1;
    }
    first->setCallback( &report );
    const Qv::OPtr<Qv::OsFileLock> refused( Qv::OsFileLock::lock( path ) );
    std::printf( "the second is %s\n", refused.isNull() ? "refused" : "granted" );

    bool hasWaited = false;
    std::thread second( [&] {
        const Qv::OPtr<Qv::OsFileLock> lock( Qv::OsFileLock::lock( path, 30.0 ) );
        hasWaited = !lock.isNull();
    } );
    // What can't be undone, such as giving a file its name, comes after a look at the server.
    if( first->verify() ) {
        std::printf( "the first saves its work\n" );
    }
    first->release();
    second.join();
    std::printf( "the second has %s\n", hasWaited ? "waited and got the lock" : "got nothing" );
    std::printf( "now the file is %s\n", Qv::OsFileLock::isLocked( path ) ? "locked" : "free" );
    return hasWaited ? 0 : 1;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const Qv::ExBase& failure ) {
        std::fprintf( stderr, "fileLock: %s\n", failure.getReason() );
    }
    return 1;
}
