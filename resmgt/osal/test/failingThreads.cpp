#include <resmgt/osal/test/failingCalls.h>

#include <pthread.h>

/// Has the hooks see this program's starts of threads, where its WRAPPED_CALLS name pthread_create;
/// the standard library's threads start without it.

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
int __real_pthread_create( pthread_t* thread, const pthread_attr_t* attributes,
                           void* ( *routine )(void*), void* argument );
int __wrap_pthread_create( pthread_t* thread, const pthread_attr_t* attributes,
                           void* ( *routine )(void*), void* argument );
}

int __wrap_pthread_create( pthread_t* thread, const pthread_attr_t* attributes,
                           void* ( *routine )(void*), void* argument ) {
    Qv::SystemCall call{ "pthread_create", 0, 0, -1, nullptr };
    const int error = Qv::CallHook::pass( call );
    return error != 0 ? error : __real_pthread_create( thread, attributes, routine, argument );
}
// NOLINTEND(bugprone-reserved-identifier)
