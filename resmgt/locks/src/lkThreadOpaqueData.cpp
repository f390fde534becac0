#include <resmgt/locks/lkThreadOpaqueData.h>

#include <base/failure/assertions.h>
#include <base/ownership/ownershipDelete.h>
#include <resmgt/locks/lkEx.h>

namespace Qv {

namespace {

/// Runs `undo` at scope exit unless `dismiss` was called. That is while an exception is on its way,
/// so what `undo` raises is only reported.
template <class Undo>
class Rollback {
public:
    explicit Rollback( Undo undo )
        : _undo( undo ) {}
    Rollback( const Rollback& ) = delete;
    Rollback& operator=( const Rollback& ) = delete;
    ~Rollback() {
        if( !_isArmed ) {
            return;
        }
        try {
            _undo();
        } catch( ... ) {
            Ownership::reportFailedDestructor();
        }
    }
    void dismiss() noexcept { _isArmed = false; }

private:
    Undo _undo;
    bool _isArmed = true;
};

} // namespace

LkThreadOpaqueData::LkThreadOpaqueData( const char* name, Creator creator, Deleter deleter )
    : _name( name )
    , _creator( creator )
    , _deleter( deleter ) {}

LkThreadOpaqueData::~LkThreadOpaqueData() = default;

void* LkThreadOpaqueData::build( const void* seen ) const {
    if( seen == busyMark() ) {
        throw ExInternalError( QV_HERE, "Recursion in the creation of thread-local data" );
    }
    setValue( busyMark() );
    Rollback emptySlot( [this] { setValue( nullptr ); } );
    void* const value = _creator();
    if( value == nullptr ) {
        throw LkEx::ExNoContent( QV_HERE, "LkThreadOpaqueData", _name );
    }
    Rollback freeUnregistered( [this, value] { _deleter( value ); } );
    setValue( value );
    registerData();
    freeUnregistered.dismiss();
    emptySlot.dismiss();
    return value;
}

void LkThreadOpaqueData::freeValue( LkThreadDataTypes::DeleteAction action ) const {
    void* const value = getValue();
    if( value == busyMark() ) {
        throw ExInternalError( QV_HERE, "Double delete of thread-local data." );
    }
    if( value == nullptr ) {
        return;
    }
    // Also when the deleter throws: nobody may come upon a value that is half gone.
    const auto leaveSlot = [this, action] {
        setValue( action == LkThreadDataTypes::DELETE_AND_MARK ? busyMark() : nullptr );
    };
    Rollback afterFailure( leaveSlot );
    _deleter( value );
    afterFailure.dismiss();
    leaveSlot();
    QV_ASSERT( action == LkThreadDataTypes::DELETE_AND_CLEAR ||
               action == LkThreadDataTypes::DELETE_AND_MARK );
}

} // namespace Qv
