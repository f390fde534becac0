#include <resmgt/memoryBuffers/mbEx.h>

#include <cstdio>
#include <string>

namespace Qv {

namespace {

template <class... Args>
std::string formatted( const char* format, const Args*... args ) {
    const int size = std::snprintf( nullptr, 0, format, args... );
    std::string text( static_cast<std::size_t>( size ), '\0' );
    std::snprintf( text.data(), text.size() + 1, format, args... );
    return text;
}

} // namespace

MbEx::ExIllegalTransition::ExIllegalTransition( const char* file, int line, const char* buffer,
                                                const char* event, const char* state )
    : ExCloneable( file, line ) {
    setReason( formatted( "Illegal transition: buffer %s received event %s from state %s.", buffer,
                          event, state )
                   .c_str() );
}

MbEx::ExNotEnoughMemory::ExNotEnoughMemory( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( formatted( "Not enough memory: %s.", what ).c_str() );
}

MbEx::ExInvalidArgument::ExInvalidArgument( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( formatted( "Invalid argument: %s.", what ).c_str() );
}

MbEx::ExRangeError::ExRangeError( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( formatted( "Out of range: %s.", what ).c_str() );
}

MbEx::ExReadOnly::ExReadOnly( const char* file, int line, const char* buffer )
    : ExCloneable( file, line ) {
    setReason( formatted( "Buffer is read only: %s.", buffer ).c_str() );
}

} // namespace Qv
