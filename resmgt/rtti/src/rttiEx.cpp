#include <resmgt/rtti/rttiEx.h>

#include <cstdio>

namespace Qv {

namespace {

constexpr int MAX_NAME_LENGTH = 256;
constexpr int MAX_FRAME_LENGTH = 128;

} // namespace

void RttiEx::setReasonOf( const char* format, const char* typeName ) {
    char text[MAX_FRAME_LENGTH + MAX_NAME_LENGTH];
    std::snprintf( text, sizeof( text ), format, MAX_NAME_LENGTH, typeName );
    setReason( text );
}

RttiEx::ExAlreadyExists::ExAlreadyExists( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    setReasonOf( "The RTTI type '%.*s' already exists.", typeName );
}

RttiEx::ExNotFound::ExNotFound( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    setReasonOf( "RTTI type '%.*s' not Found.", typeName );
}

RttiEx::ExCycle::ExCycle( const char* file, int line, const char* typeName )
    : ExCloneable( file, line ) {
    setReasonOf( "Requested insertion of RTTI type '%.*s' would introduce a cycle.", typeName );
}

} // namespace Qv
