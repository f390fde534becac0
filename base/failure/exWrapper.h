#pragma once

#include <base/failure/exBase.h>
#include <base/ownership/aPtr.h>
#include <base/ownership/oPtr.h>

namespace Qv {

/// Runs work whose exceptions must not go further, such as a thread's body.
class QV_BASE_API ExWrapper {
public:
    class Functor;
    /// Gets the text of a foreign exception, from any thread. It must not throw.
    using LoggingFunction = void ( * )( const char* );

    /// Runs the functor once. Returns null on success, else what it raised: a copy of an ExBase,
    /// and an ExCaughtException for a foreign exception, which is any other.
    ///
    /// `out`, unless null, gets null on success; for an ExBase the call stack of where it was
    /// built; for a foreign one its type and text, which the logging function gets too, and the
    /// call stack of the catch, as that of the throw is gone.
    /// Errors: the cancellation of the thread, and unwinding that isn't C++, goes on through it;
    /// std::bad_alloc where there is no memory for the answer.
    static OPtrRet<ExBase> execute( Functor& functor, APtr<char>* out );

    /// Installs `function`, which may be null, and returns the former one; null at first.
    static LoggingFunction setLoggingFunction( LoggingFunction function ) noexcept;
};

/// The work to run.
class QV_BASE_API ExWrapper::Functor {
public:
    virtual ~Functor();
    /// Does the work whose exceptions are caught.
    virtual void execute() = 0;
};

} // namespace Qv
