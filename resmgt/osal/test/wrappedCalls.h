#pragma once

#include <resmgt/osal/test/failingCalls.h>

#include <sched.h>

#include <cerrno>
#include <cstddef>

/// For the files with a program's wrapped functions.

// A sanitizer calls some of them before it can watch anybody.
#define QV_UNWATCHED __attribute__( ( no_sanitize( "address", "undefined", "thread" ) ) )

namespace Qv {

constexpr std::nullptr_t NO_SIZE = nullptr;

inline void note( SystemCall& call, int handle ) {
    call.handle = call.handle == -1 ? handle : call.handle;
}
inline void note( SystemCall& call, const char* path ) {
    call.path = call.path == nullptr ? path : call.path;
}
inline void note( SystemCall& call, const sched_param* parameters ) {
    call.size = static_cast<std::size_t>( parameters->sched_priority );
}
template <class Other>
void note( SystemCall&, const Other& ) {}

template <class... Arguments>
SystemCall describe( const char* name, const Arguments&... arguments ) {
    SystemCall call{ name, 0, 0, -1, nullptr };
    ( note( call, arguments ), ... );
    return call;
}

inline int pass( SystemCall call, std::nullptr_t ) {
    return CallHook::pass( call );
}

template <class Size>
int pass( SystemCall call, Size& size ) {
    call.size = static_cast<std::size_t>( size );
    const int error = CallHook::pass( call );
    size = static_cast<Size>( call.size );
    return error;
}

} // namespace Qv

// The function that the linker puts in the place of the system's `name`: for a call that is to fail
// it does what stands `before` that and answers `failure`.
#define QV_WRAPPED_AS( type, failure, name, parameters, arguments, size, before )                  \
    QV_WRAPPED_BY( type, failure, name, parameters, arguments, size, before,                       \
                   __real_##name arguments )
#define QV_WRAPPED_BY( type, failure, name, parameters, arguments, size, before, call )            \
    type __real_##name parameters;                                                                 \
    QV_UNWATCHED type __wrap_##name parameters {                                                   \
        if( !Qv::CallHook::isAnyAlive() ) {                                                        \
            return call;                                                                           \
        }                                                                                          \
        const auto describe = []( const auto&... all ) { return Qv::describe( #name, all... ); };  \
        const int error = Qv::pass( describe arguments, size );                                    \
        if( error != 0 ) {                                                                         \
            before;                                                                                \
            errno = error;                                                                         \
            return failure;                                                                        \
        }                                                                                          \
        return call;                                                                               \
    }
#define QV_WRAPPED( type, failure, name, parameters, arguments )                                   \
    QV_WRAPPED_AS( type, failure, name, parameters, arguments, Qv::NO_SIZE, )
// Of a call that is about `size` bytes.
#define QV_WRAPPED_SIZED( type, name, parameters, arguments )                                      \
    QV_WRAPPED_AS( type, -1, name, parameters, arguments, size, )
// Of a call that gives the resource back even when it fails.
#define QV_WRAPPED_RELEASE( name, parameters, arguments )                                          \
    QV_WRAPPED_AS( int, -1, name, parameters, arguments, Qv::NO_SIZE, __real_##name arguments )
