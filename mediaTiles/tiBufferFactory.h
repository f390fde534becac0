#pragma once

#include <mediaTiles/tiStore.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>

namespace Qv {

/// Makes buffers that wait in a content server while memory has no room for them.
///
///     CtServer::configure( "/var/cache/studio" );
///     TiBufferFactory factory( 512 << 20 );
///     MbBuffer tile = factory.create( "tile", 65536 );
///
/// Alignment: without one, to 128 bytes; in any case at least as the server's transfers need it.
///            A buffer of n bytes that is aligned to a bytes takes n + a - 1 of the memory, so that
///            a memory of n bytes has no room for it.
/// Lifetime:  buffers may outlive the factory, and end before the server.
class QV_MEDIATILES_API TiBufferFactory : public MbBufferSimpleFactory {
public:
    /// Buffers in a memory of their own of `memorySize` bytes, from the heap; the one that was
    /// unlocked first leaves it first. Locks are relaxed: any number of readers and writers hold a
    /// buffer together. Content goes to the process's server.
    explicit TiBufferFactory( unsigned long long memorySize );
    /// `initialState` comes from an MbStateMachine.
    TiBufferFactory( const MbState* initialState, const RCShdPtr<MbManager>& manager,
                     const RCShdPtr<TiStore>& store );
    ~TiBufferFactory() override;

    /// With a protocol of the caller's, such as one derived from TiProtocol.
    MbBuffer create( const LiString& name, OPtr<MbProtocol> protocol, int size,
                     const MbAlignment& alignment ) override;
    MbBuffer create( const LiString& name, int size, const MbAlignment& alignment ) override;
    MbBuffer create( const LiString& name, int size ) override;

    const RCShdPtr<TiStore>& getStore() const noexcept { return _store; }

private:
    const RCShdPtr<TiStore> _store;
};

} // namespace Qv
