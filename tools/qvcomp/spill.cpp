#include <tools/qvcomp/spill.h>

namespace Qv::Comp {

void FailureNote::keep( std::exception_ptr failure ) {
    const std::lock_guard guard( _lock );
    if( !_failure ) {
        _failure = std::move( failure );
        _isSet.store( true, std::memory_order_relaxed );
    }
}

void FailureNote::raise() const {
    if( _isSet.load( std::memory_order_relaxed ) ) {
        const std::lock_guard guard( _lock );
        std::rethrow_exception( _failure );
    }
}

} // namespace Qv::Comp
