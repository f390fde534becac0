#pragma once

#include <base/ownership/rcShdEngPtr.h>
#include <resmgt/memoryBuffers/mbBufferImp.h>

namespace Qv {

/// Makes all buffers.
class QV_RESMGT_API MbBufferImpFactory {
public:
    MbBufferImpFactory() = delete;

    /// `initialState` comes from an MbStateMachine; `size` is in bytes. Raises
    /// MbEx::ExInvalidArgument if it is negative.
    static RCShdEngPtr<MbBufferImp> create( const LiString& name, const MbState* initialState,
                                            const RCShdPtr<MbManager>& manager,
                                            OPtr<MbProtocol> protocol, int size,
                                            const MbAlignment& alignment );
};

} // namespace Qv
