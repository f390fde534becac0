#pragma once

#include <base/callbacks/cbHandler.h>

#include <utility>

namespace Qv {

/// A handler that calls a function.
template <class T>
class CbFunction final : public CbHandler<T> {
public:
    /// A function that is called with the event.
    using Function = void ( * )( T& );

    explicit CbFunction( Function function ) noexcept
        : _function( function ) {}

    void call( T& argument ) override { _function( argument ); }

private:
    const Function _function;
};

template <>
class CbFunction<CbEmptyType> final : public CbHandler<CbEmptyType> {
public:
    using Function = void ( * )();

    explicit CbFunction( Function function ) noexcept
        : _function( function ) {}

    void call() override { _function(); }

private:
    const Function _function;
};

/// A handler that calls a function with data of its own beside the argument.
template <class T, class Data>
class CbDataFunction final : public CbHandler<T> {
public:
    /// A function that is called with the event and the data of its handler.
    using Function = void ( * )( T&, const Data& );

    CbDataFunction( Function function, Data data )
        : _function( function )
        , _data( std::move( data ) ) {}

    void call( T& argument ) override { _function( argument, _data ); }

private:
    const Function _function;
    const Data _data;
};

template <class Data>
class CbDataFunction<CbEmptyType, Data> final : public CbHandler<CbEmptyType> {
public:
    using Function = void ( * )( const Data& );

    CbDataFunction( Function function, Data data )
        : _function( function )
        , _data( std::move( data ) ) {}

    void call() override { _function( _data ); }

private:
    const Function _function;
    const Data _data;
};

} // namespace Qv
