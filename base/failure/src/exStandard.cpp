#include <base/failure/exStandard.h>

#include <base/failure/assertions.h>

namespace Qv {

ExInternalError::ExInternalError( const char* file, int line, const char* message )
    : ExCloneable( file, line ) {
    setReason( message );
}

ExInternalError::ExInternalError( const char* file, int line )
    : ExCloneable( file, line ) {}

ExCaughtException::ExCaughtException( const char* file, int line, const char* context,
                                      const char* type, const char* detail )
    : ExCloneable( file, line ) {
    setReason( "Caught a foreign exception" );
    if( type != nullptr ) {
        setReason( " of type " );
        setReason( type );
    }
    if( context != nullptr ) {
        setReason( " in " );
        setReason( context );
    }
    if( detail != nullptr ) {
        setReason( ": " );
        setReason( detail );
    }
}

ExRethrow<ExBase>::ExRethrow( const char* file, int line, OPtr<ExBase> original )
    : ExCloneable( file, line ) {
    QV_ASSERT( !original.isNull() );
    _original.reset( original.release() );
    setReason( _original->getReason() );
}

ExRethrow<ExBase>::ExRethrow( const ExRethrow& other ) noexcept = default;
ExRethrow<ExBase>& ExRethrow<ExBase>::operator=( const ExRethrow& other ) noexcept = default;
ExRethrow<ExBase>::~ExRethrow() = default;

} // namespace Qv
