#include <resmgt/memoryBuffers/mbEx.h>

#include <array>
#include <cstdio>

namespace Qv {

namespace {

/// Room for a message with a long name in it; what is longer is cut off.
constexpr std::size_t MAX_MESSAGE = 1024;

/// One of the family's messages with a single argument.
class Message {
public:
    Message( const char* kind, const char* what ) {
        std::snprintf( _text.data(), _text.size(), "%s: %s.", kind, what );
    }

    const char* get() const { return _text.data(); }

private:
    std::array<char, MAX_MESSAGE> _text;
};

} // namespace

MbEx::ExIllegalTransition::ExIllegalTransition( const char* file, int line, const char* buffer,
                                                const char* event, const char* state )
    : ExCloneable( file, line ) {
    std::array<char, MAX_MESSAGE> text;
    std::snprintf( text.data(), text.size(),
                   "Illegal transition: buffer %s received event %s from state %s.", buffer, event,
                   state );
    setReason( text.data() );
}

MbEx::ExNotEnoughMemory::ExNotEnoughMemory( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( Message( "Not enough memory", what ).get() );
}

MbEx::ExInvalidArgument::ExInvalidArgument( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( Message( "Invalid argument", what ).get() );
}

MbEx::ExRangeError::ExRangeError( const char* file, int line, const char* what )
    : ExCloneable( file, line ) {
    setReason( Message( "Out of range", what ).get() );
}

MbEx::ExReadOnly::ExReadOnly( const char* file, int line, const char* buffer )
    : ExCloneable( file, line ) {
    setReason( Message( "Buffer is read only", buffer ).get() );
}

} // namespace Qv
