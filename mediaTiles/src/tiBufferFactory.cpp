#include <mediaTiles/tiBufferFactory.h>

#include <mediaTiles/tiProtocol.h>
#include <resmgt/content/ctServer.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>

namespace Qv {

namespace {

/// In bytes, less one: a cache line of any processor.
constexpr unsigned long long LEAST_ALIGNMENT = 127;

RCShdPtr<MbManager> makeManager( unsigned long long memorySize ) {
    return RCShdPtr<MbManager>(
        new MbHeapManager( "media tiles", memorySize, OPtr<MbUnloadStrategy>( new MbUnloadLRU ) ) );
}

} // namespace

TiBufferFactory::TiBufferFactory( unsigned long long memorySize )
    : TiBufferFactory(
          MbStateMachine::getInstance( MbStateMachine::UNTRACED, MbStateMachine::RELAXED )
              .getInitialState(),
          makeManager( memorySize ), RCShdPtr<TiStore>( new TiStore( CtServer::getInstance() ) ) ) {
}

TiBufferFactory::TiBufferFactory( const MbState* initialState, const RCShdPtr<MbManager>& manager,
                                  const RCShdPtr<TiStore>& store )
    : MbBufferSimpleFactory( initialState, manager )
    , _store( store ) {}

TiBufferFactory::~TiBufferFactory() = default;

MbBuffer TiBufferFactory::create( const LiString& name, OPtr<MbProtocol> protocol, int size,
                                  const MbAlignment& alignment ) {
    MbAlignment both( alignment );
    both.compound( MbAlignment( _store->getServer().getAlignment() - 1ULL, 0, 0 ) );
    return MbBufferSimpleFactory::create( name, protocol, size, both );
}

MbBuffer TiBufferFactory::create( const LiString& name, int size, const MbAlignment& alignment ) {
    return create( name, OPtr<MbProtocol>( new TiProtocol( _store ) ), size, alignment );
}

MbBuffer TiBufferFactory::create( const LiString& name, int size ) {
    return create( name, size, MbAlignment( LEAST_ALIGNMENT, 0, 0 ) );
}

} // namespace Qv
