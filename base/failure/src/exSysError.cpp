#include <base/failure/exSysError.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace Qv {

namespace {

/// "context( detail ): the error", without what is null.
std::string sysReason( int error, const char* context, const char* detail ) {
    std::string text;
    if( context != nullptr ) {
        text += context;
    }
    if( detail != nullptr ) {
        text += text.empty() ? "" : " ";
        text += '\'';
        text += detail;
        text += '\'';
    }
    text += text.empty() ? "" : ": ";
    return text + std::generic_category().message( error ) + " (error " + std::to_string( error ) +
           ')';
}

} // namespace

// errno is taken before the virtual base is built, since building it allocates.
ExSysErrorWindows::ExSysErrorWindows( const char* file, int line )
    : ExSysErrorWindows( file, line, errno, nullptr, nullptr ) {}

ExSysErrorWindows::ExSysErrorWindows( const char* file, int line, const char* context )
    : ExSysErrorWindows( file, line, errno, context, nullptr ) {}

ExSysErrorWindows::ExSysErrorWindows( const char* file, int line, const char* context,
                                      const char* detail )
    : ExSysErrorWindows( file, line, errno, context, detail ) {}

ExSysErrorWindows::ExSysErrorWindows( const char* file, int line, int error, const char* context,
                                      const char* detail )
    : ExSysError( file, line ) {
    setReason( sysReason( error, context, detail ).c_str() );
}

ExBase* ExSysErrorWindows::clone() const {
    return new ExSysErrorWindows( *this );
}

void ExSysErrorWindows::raise() const {
    throw ExSysErrorWindows( *this );
}

ExSysErrorANSI::ExSysErrorANSI( const char* file, int line )
    : ExSysErrorANSI( file, line, errno, nullptr, nullptr ) {}

ExSysErrorANSI::ExSysErrorANSI( const char* file, int line, const char* context )
    : ExSysErrorANSI( file, line, errno, context, nullptr ) {}

ExSysErrorANSI::ExSysErrorANSI( const char* file, int line, const char* context,
                                const char* detail )
    : ExSysErrorANSI( file, line, errno, context, detail ) {}

ExSysErrorANSI::ExSysErrorANSI( const char* file, int line, int error, const char* context,
                                const char* detail )
    : ExSysError( file, line ) {
    setReason( sysReason( error, context, detail ).c_str() );
}

ExBase* ExSysErrorANSI::clone() const {
    return new ExSysErrorANSI( *this );
}

void ExSysErrorANSI::raise() const {
    throw ExSysErrorANSI( *this );
}

ExSysErrorGeneric::ExSysErrorGeneric( const char* file, int line, const char* reason,
                                      const char* context, const char* detail )
    : ExSysError( file, line ) {
    bool isFirst = true;
    for( const char* const part : { context, detail, reason } ) {
        if( part != nullptr ) {
            setReason( isFirst ? "" : ": " );
            setReason( part );
            isFirst = false;
        }
    }
}

ExBase* ExSysErrorGeneric::clone() const {
    return new ExSysErrorGeneric( *this );
}

void ExSysErrorGeneric::raise() const {
    throw ExSysErrorGeneric( *this );
}

} // namespace Qv
