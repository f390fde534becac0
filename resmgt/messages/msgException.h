#pragma once

#include <base/failure/exBase.h>
#include <resmgt/messages/msgProtocol.h>

#include <memory>
#include <type_traits>
#include <utility>

namespace Qv {

/// An exception `T`, one derived from ExBase, that carries the message for the user. The code that
/// catches it displays the message.
///
///     throw MsgException<CtEx::ExNoRoom>( QV_HERE, MsgError( cacheFull ), path );
///
/// Copying: never throws; copies share the message.
template <class T>
class QV_TEMPLATE_API MsgException : public ExCloneable<MsgException<T>, T> {
    static_assert( std::is_base_of_v<ExBase, T> );

public:
    /// What follows the message goes to the constructor of `T`, behind file and line.
    template <class... Arguments>
    MsgException( const char* file, int line, const MsgProtocol& message, Arguments&&... arguments )
        : ExCloneable<MsgException, T>( file, line, std::forward<Arguments>( arguments )... )
        , _message( std::make_shared<const MsgProtocol>( message ) ) {}

    const MsgProtocol& getMessage() const noexcept { return *_message; }

private:
    std::shared_ptr<const MsgProtocol> _message;
};

} // namespace Qv
