#pragma once

namespace Qv {

/// A function of one argument as an object, for operations that take a client's function.
template <class Argument, class Result>
class UnaryFunctor {
public:
    virtual ~UnaryFunctor() = default;
    virtual Result operator()( const Argument& argument ) const = 0;
};

} // namespace Qv
