#pragma once

#include <resmgt/memoryBuffers/test/mbTestAccess.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Qv {

/// The calls that a buffer made, in order: "M.x" to its manager, "P.x" to its protocol.
using CallLog = std::vector<std::string>;

/// What a recording protocol raises on demand.
struct ProtocolFault : std::runtime_error {
    ProtocolFault()
        : std::runtime_error( "protocol fault" ) {}
};

/// What a recording manager raises on demand.
struct ManagerFault : std::exception {};

/// A manager of one block of memory, which is enough for one buffer.
class RecordingManager : public MbManager {
public:
    static constexpr int BLOCK_SIZE = 256;

    explicit RecordingManager( CallLog& log )
        : _log( log ) {}

    MbRegion makeRegion( int block = 0 );
    bool refusesMemory = false;
    bool refusesRemoval = false;

    const std::string& getName() const override { return _name; }
    void allocateRegion( MbBufferImp* buffer ) override;
    void deallocateRegion( const MbRegion& region ) override;
    void deallocateRegion( MbBufferImp* buffer ) override;
    void bufferNotUnloadable( MbBufferImp* buffer ) override;
    void bufferUnloadable( MbBufferImp* buffer ) override;
    unsigned long long getSize() const override { return BLOCK_SIZE; }
    unsigned long long getFreeSpace() const override { return BLOCK_SIZE; }
    void dump( std::ostream& ) const override {}

private:
    CallLog& _log;
    const std::string _name = "recorder";
    alignas( 128 ) char _blocks[2][BLOCK_SIZE] = {};
};

/// Records each call, checks that the buffer's lock is free meanwhile, and does what the test asks.
class RecordingProtocol : public MbProtocol {
public:
    explicit RecordingProtocol( CallLog& log )
        : _log( log ) {}
    ~RecordingProtocol() override;

    MbBufferImp* buffer = nullptr;
    /// The call that raises a ProtocolFault, such as "P.load".
    std::string faultyCall;
    bool unloadAnswer = true;
    /// Runs inside each call, before the fault.
    std::function<void( const std::string& call )> hook;
    std::function<void()> onEnd;

    void load( void* m, unsigned long long n ) override { note( "P.load", m, n ); }
    void asyncLoad( void* m, unsigned long long n, LkAsyncHandle* h ) override {
        noteAsync( "P.asyncLoad", m, n, h );
    }
    void asyncLoadSucceeded() override { note( "P.asyncLoadSucceeded" ); }
    void asyncLoadFailed() override { note( "P.asyncLoadFailed" ); }
    void reload( void* m, unsigned long long n ) override { note( "P.reload", m, n ); }
    void asyncReload( void* m, unsigned long long n, LkAsyncHandle* h ) override {
        noteAsync( "P.asyncReload", m, n, h );
    }
    void asyncReloadSucceeded() override { note( "P.asyncReloadSucceeded" ); }
    void asyncReloadFailed() override { note( "P.asyncReloadFailed" ); }
    void unlocked( void* m, unsigned long long n, MbBufferImp* b ) override {
        noteBuffer( "P.unlocked", m, n, b );
    }
    void sync( void* m, unsigned long long n ) override { note( "P.sync", m, n ); }
    void asyncSync( void* m, unsigned long long n, LkAsyncHandle* h ) override {
        noteAsync( "P.asyncSync", m, n, h );
    }
    void asyncSyncSucceeded() override { note( "P.asyncSyncSucceeded" ); }
    void asyncSyncFailed() override { note( "P.asyncSyncFailed" ); }
    bool unload( void* m, unsigned long long n ) override {
        note( "P.unload", m, n );
        return unloadAnswer;
    }
    void free( void* m, unsigned long long n ) override { note( "P.free", m, n ); }
    void grab( void* m, unsigned long long n, MbBufferImp* b ) override {
        noteBuffer( "P.grab", m, n, b );
    }
    void markDirty( void* m, unsigned long long n ) override { note( "P.markDirty", m, n ); }
    void destroy( void* m, unsigned long long n ) override { note( "P.destroy", m, n ); }

private:
    void note( const char* call );
    void note( const char* call, void* memory, unsigned long long size );
    void noteAsync( const char* call, void* memory, unsigned long long size,
                    LkAsyncHandle* handle );
    void noteBuffer( const char* call, void* memory, unsigned long long size, MbBufferImp* b );

    CallLog& _log;
};

} // namespace Qv
