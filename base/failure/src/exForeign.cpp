#include <base/failure/src/exForeign.h>

#include <base/failure/exBase.h>

#include <exception>

namespace Qv {

std::string currentExceptionText() {
    const std::exception_ptr current = std::current_exception();
    if( current == nullptr ) {
        return {};
    }
    try {
        std::rethrow_exception( current );
    } catch( const ExBase& exception ) {
        return currentExceptionType() + ": " + exception.getDetailedReason();
    } catch( const std::exception& exception ) {
        return currentExceptionType() + ": " + exception.what();
    } catch( ... ) {
        return currentExceptionType();
    }
}

} // namespace Qv
