#pragma once

#include <resmgt/memoryBuffers/mbBufferFactory.h>
#include <resmgt/memoryBuffers/mbManager.h>

namespace Qv {

/// Makes buffers of one manager. Without an alignment they are aligned to 128 bytes.
class QV_RESMGT_API MbBufferSimpleFactory : public MbBufferFactory {
public:
    /// `initialState` comes from an MbStateMachine.
    MbBufferSimpleFactory( const MbState* initialState, const RCShdPtr<MbManager>& manager );
    ~MbBufferSimpleFactory() override;

    MbBuffer create( const LiString& name, OPtr<MbProtocol> protocol, int size,
                     const MbAlignment& alignment ) override;
    MbBuffer create( const LiString& name, int size, const MbAlignment& alignment ) override;
    MbBuffer create( const LiString& name, int size ) override;
    unsigned long long getSize() const override;
    unsigned long long getFreeSpace() const override;

private:
    const MbState* const _initialState;
    const RCShdPtr<MbManager> _manager;
};

} // namespace Qv
