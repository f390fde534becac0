#include <resmgt/memoryBuffers/mbBufferImpFactory.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbProtocol.h>

namespace Qv {

namespace {

/// 128 bytes: two cache lines, which processors fetch in pairs.
const unsigned long long DEFAULT_ALIGNMENT_MASK = 127;

} // namespace

RCShdEngPtr<MbBufferImp> MbBufferImpFactory::create( const LiString& name,
                                                     const MbState* initialState,
                                                     const RCShdPtr<MbManager>& manager,
                                                     OPtr<MbProtocol> protocol, int size,
                                                     const MbAlignment& alignment ) {
    return RCShdEngPtr<MbBufferImp>(
        new MbBufferImp( name, initialState, manager, protocol, size, alignment ) );
}

MbBufferFactory::~MbBufferFactory() = default;

MbBufferSimpleFactory::MbBufferSimpleFactory( const MbState* initialState,
                                              const RCShdPtr<MbManager>& manager )
    : _initialState( initialState )
    , _manager( manager ) {}

MbBufferSimpleFactory::~MbBufferSimpleFactory() = default;

MbBuffer MbBufferSimpleFactory::create( const LiString& name, OPtr<MbProtocol> protocol, int size,
                                        const MbAlignment& alignment ) {
    return MbBuffer(
        MbBufferImpFactory::create( name, _initialState, _manager, protocol, size, alignment ) );
}

MbBuffer MbBufferSimpleFactory::create( const LiString& name, int size,
                                        const MbAlignment& alignment ) {
    return create( name, OPtr<MbProtocol>( new MbProtocol ), size, alignment );
}

MbBuffer MbBufferSimpleFactory::create( const LiString& name, int size ) {
    return create( name, size, MbAlignment( DEFAULT_ALIGNMENT_MASK, 0, 0 ) );
}

unsigned long long MbBufferSimpleFactory::getSize() const {
    return _manager->getSize();
}

unsigned long long MbBufferSimpleFactory::getFreeSpace() const {
    return _manager->getFreeSpace();
}

} // namespace Qv
