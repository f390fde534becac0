#pragma once

#include <resmgt/threadExtensions/mtRequestBase.h>

namespace Qv {

/// An item of an MtGroup that calls a plain function.
class QV_RESMGT_API MtGroupCommand : public MtRequestBase {
public:
    /// Does nothing.
    MtGroupCommand() noexcept = default;
    /// `function` may be null; `data` stays its owner's.
    MtGroupCommand( void ( *function )( void* ), void* data ) noexcept
        : _function( function )
        , _data( data ) {}
    MtGroupCommand( const MtGroupCommand& ) noexcept = default;
    MtGroupCommand& operator=( const MtGroupCommand& ) noexcept = default;
    ~MtGroupCommand() override = default;

    /// Does the work.
    void execute() {
        if( _function != nullptr ) {
            _function( _data );
        }
    }

private:
    void ( *_function )( void* ) = nullptr;
    void* _data = nullptr;
};

} // namespace Qv
