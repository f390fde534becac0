#pragma once

#include <base/qvBaseApi.h>

#include <type_traits>

namespace Qv::Ownership {

/// A type whose objects a pointer to `T` can point to.
template <class U, class T>
concept PointableAs = std::is_convertible_v<U*, T*>;

/// Reports the exception that is being handled, through the trace facility.
QV_BASE_API void reportFailedDestructor() noexcept;

/// Deletes `object`, which may be null. An exception out of a destructor that is declared to throw
/// is reported and ends here, so that an owning pointer never throws while it goes out of scope.
template <class T>
void destroy( T* object ) noexcept {
    static_assert( sizeof( T ) > 0, "the type must be complete where it is deleted" );
    if constexpr( std::is_nothrow_destructible_v<T> ) {
        delete object;
    } else {
        try {
            delete object;
        } catch( ... ) {
            reportFailedDestructor();
        }
    }
}

/// The same for an array.
template <class T>
void destroyArray( T* array ) noexcept {
    static_assert( sizeof( T ) > 0, "the type must be complete where it is deleted" );
    delete[] array;
}

} // namespace Qv::Ownership
