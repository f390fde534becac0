#include <resmgt/osal/test/wrappedCalls.h>

#include <pthread.h>

/// Has the hooks see this program's starts of threads, where its WRAPPED_CALLS name pthread_create;
/// the standard library's threads start without it.

extern "C" {
QV_WRAPPED( int, error, pthread_create,
            ( pthread_t * thread, const pthread_attr_t* attributes, void* ( *body )(void*),
              void* data ),
            ( thread, attributes, body, data ) )
}
