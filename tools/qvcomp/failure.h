#pragma once

#include <tools/qvcomp/messages.h>

#include <base/failure/exBase.h>
#include <base/text/printable.h>

#include <concepts>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Qv::Comp {

/// The work can't be done; the message is one sentence without a full stop, for the person at the
/// terminal. Ends the command with 1.
class Failure : public std::runtime_error {
public:
    /// The values are texts and whole numbers.
    template <class... Values>
    explicit Failure( Tag tag, const Values&... values )
        : Failure( makeMessage( tag, { toText( values )... } ), tag ) {}

    Tag getTag() const noexcept { return _tag; }
    const MsgProtocol& getMessage() const noexcept { return *_message; }

private:
    Failure( const MsgProtocol& message, Tag tag )
        : std::runtime_error( message.getText() )
        , _tag( tag )
        , _message( std::make_shared<const MsgProtocol>( message ) ) {}

    static std::string toText( std::string_view value ) { return Printable::makeLine( value ); }
    static std::string toText( std::integral auto value ) { return std::to_string( value ); }

    Tag _tag;
    // Shared, so that copying an exception can't fail.
    std::shared_ptr<const MsgProtocol> _message;
};

/// Whether what is wrong may be gone once a layer is written.
constexpr bool isAboutLayer( Tag tag ) noexcept {
    return tag >= Tag::LAYER_MISSING && tag <= Tag::LAYER_CHANGED;
}

/// The command line is wrong. Ends the command with 2.
class UsageFailure : public Failure {
public:
    using Failure::Failure;
};

/// The system's own words, with which the reason of a failed call of it ends; what stands before
/// them, and the error's number behind, is for developers. Other reasons come as they are.
inline std::string getSystemText( const ExBase& failure ) {
    const std::string reason = failure.getReason();
    const std::size_t colon = reason.rfind( ": " );
    return colon == std::string::npos
               ? reason
               : reason.substr( colon + 2, reason.rfind( " (error " ) - colon - 2 );
}

} // namespace Qv::Comp
