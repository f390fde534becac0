#include <base/failure/exWrapper.h>

#include <base/failure/exStandard.h>
#include <base/failure/qvHere.h>
#include <base/failure/src/exForeign.h>
#include <base/failure/src/exStack.h>

#include <atomic>
#include <cstring>
#include <exception>
#include <string>

namespace Qv {

namespace {

// Release and acquire: who calls the function sees what was made ready before it was installed.
constinit std::atomic<ExWrapper::LoggingFunction> loggingFunction = nullptr;

APtr<char> copyOf( const std::string& text ) {
    APtr<char> copy( new char[text.size() + 1] );
    std::memcpy( copy.get(), text.c_str(), text.size() + 1 );
    return copy;
}

OPtr<ExBase> wrapForeign( const char* detail, std::string& text ) {
    text = currentExceptionText() + "\nCall stack of the catch:\n" + stackText( captureStack() );
    const auto log = loggingFunction.load( std::memory_order_acquire );
    if( log != nullptr ) {
        log( text.c_str() );
    }
    return OPtr<ExBase>( new ExCaughtException( QV_HERE, "ExWrapper::execute",
                                                currentExceptionType().c_str(), detail ) );
}

} // namespace

ExWrapper::Functor::~Functor() = default;

OPtrRet<ExBase> ExWrapper::execute( Functor& functor, APtr<char>* out ) {
    OPtr<ExBase> caught;
    std::string text;
    try {
        functor.execute();
    } catch( const ExBase& exception ) {
        caught.reset( exception.clone() );
        text = exception.getStackText();
    } catch( const std::exception& exception ) {
        caught = wrapForeign( exception.what(), text );
    } catch( ... ) {
        if( std::current_exception() == nullptr ) {
            // No C++ exception: the thread is being cancelled, and must not be held.
            throw;
        }
        caught = wrapForeign( nullptr, text );
    }
    if( out != nullptr ) {
        *out = caught ? copyOf( text ) : APtr<char>();
    }
    return caught;
}

ExWrapper::LoggingFunction ExWrapper::setLoggingFunction( LoggingFunction function ) noexcept {
    return loggingFunction.exchange( function, std::memory_order_acq_rel );
}

} // namespace Qv
