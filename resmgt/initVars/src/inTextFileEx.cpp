#include <resmgt/initVars/inTextFileEx.h>

#include <algorithm>

namespace Qv::InTextFileEx {

namespace {

std::string withoutZeros( std::string text ) {
    std::ranges::replace( text, '\0', '?' );
    return text;
}

/// " of message file X", behind a line's number.
std::string ofFile( const char* textFile ) {
    return std::string( " of message file " ) + textFile;
}

/// ": detail", or nothing without one.
std::string because( const char* detail ) {
    return *detail != 0 ? std::string( ": " ) + detail : std::string();
}

} // namespace

ExCannotOpen::ExCannotOpen( const char* file, int line, const char* textFile, const char* detail )
    : ExCloneable( file, line ) {
    setReason(
        ( std::string( "Cannot open message file " ) + textFile + because( detail ) ).c_str() );
}

ExFileError::ExFileError( const char* file, int line, const char* textFile, int lineNo,
                          const char* detail )
    : ExCloneable( file, line ) {
    setReason( ( "Error reading line " + std::to_string( lineNo ) + "of message file " + textFile +
                 because( detail ) )
                   .c_str() );
}

ExFileError::ExFileError( const char* file, int line, const char* textFile, const char* detail )
    : ExCloneable( file, line ) {
    setReason(
        ( std::string( "Error writing message file " ) + textFile + because( detail ) ).c_str() );
}

ExInvalidFormat::ExInvalidFormat( const char* file, int line, const char* textFile, int lineNo )
    : ExCloneable( file, line ) {
    setReason(
        ( "Invalid syntax encountered at line " + std::to_string( lineNo ) + ofFile( textFile ) )
            .c_str() );
}

ExInvalidFormat::ExInvalidFormat( const char* file, int line, const char* textFile,
                                  const char* detail )
    : ExCloneable( file, line ) {
    setReason(
        ( std::string( "Cannot write to message file " ) + textFile + because( detail ) ).c_str() );
}

ExInvalidToken::ExInvalidToken( const char* file, int line, const char* textFile, int lineNo,
                                const std::string& name )
    : ExCloneable( file, line ) {
    setReason( ( "Invalid token '" + withoutZeros( name ) + "' encountered at line " +
                 std::to_string( lineNo ) + ofFile( textFile ) )
                   .c_str() );
}

ExInvalidToken::ExInvalidToken( const char* file, int line, const char* textFile,
                                const std::string& name )
    : ExCloneable( file, line ) {
    setReason(
        ( "Invalid token '" + withoutZeros( name ) + "' to be written to message file " + textFile )
            .c_str() );
}

ExLineTooLong::ExLineTooLong( const char* file, int line, const char* textFile, int lineNo )
    : ExCloneable( file, line ) {
    setReason(
        ( "Line too long encountered at line  " + std::to_string( lineNo ) + ofFile( textFile ) )
            .c_str() );
}

} // namespace Qv::InTextFileEx
