#include <resmgt/messages/msgSubscription.h>

#include <cstring>

namespace Qv {

namespace {

APtr<char> copyText( const char* text ) {
    if( text == nullptr ) {
        return APtr<char>();
    }
    const std::size_t size = std::strlen( text ) + 1;
    APtr<char> copy( new char[size] );
    std::memcpy( copy.get(), text, size );
    return copy;
}

} // namespace

MsgSubscription::MsgSubscription( const char* tag )
    : _tag( copyText( tag ) ) {}

MsgSubscription::MsgSubscription( const MsgSubscription& other )
    : _tag( copyText( other.getTag() ) )
    , _text( copyText( other.getText() ) ) {}

MsgSubscription::~MsgSubscription() = default;

void MsgSubscription::setText( const char* text ) {
    _text = copyText( text );
}

} // namespace Qv
