#pragma once

#include <base/failure/exBase.h>

#include <functional>
#include <string>
#include <type_traits>

namespace Qv {

/// The text of the `Exception` that `body` raises: the reason alone if it is one of ours. Empty if
/// nothing is raised; other exceptions go through.
template <class Exception = std::exception>
std::string raisedBy( const std::function<void()>& body ) {
    try {
        body();
    } catch( const Exception& exception ) {
        if constexpr( std::is_base_of_v<ExBase, Exception> ) {
            return exception.getReason();
        } else {
            const auto* const ours = dynamic_cast<const ExBase*>( &exception );
            return ours != nullptr ? ours->getReason() : exception.what();
        }
    }
    return "";
}

} // namespace Qv
