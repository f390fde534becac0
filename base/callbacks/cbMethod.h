#pragma once

#include <base/callbacks/cbHandler.h>

namespace Qv {

/// A handler that calls an operation of `object`, which outlives it; usually it is a member of it.
///
///     CbMethod<FileLockManager> _refresh{ *this, &FileLockManager::refreshAll };
template <class Object, class T = CbEmptyType>
class CbMethod final : public CbHandler<T> {
public:
    /// A method that is called with the event.
    using Method = void ( Object::* )( T& );

    CbMethod( Object& object, Method method ) noexcept
        : _object( object )
        , _method( method ) {}

    void call( T& argument ) override { ( _object.*_method )( argument ); }

private:
    Object& _object;
    const Method _method;
};

template <class Object>
class CbMethod<Object, CbEmptyType> final : public CbHandler<CbEmptyType> {
public:
    using Method = void ( Object::* )();

    CbMethod( Object& object, Method method ) noexcept
        : _object( object )
        , _method( method ) {}

    void call() override { ( _object.*_method )(); }

private:
    Object& _object;
    const Method _method;
};

} // namespace Qv
