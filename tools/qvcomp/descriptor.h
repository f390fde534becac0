#pragma once

#include <utility>

#include <unistd.h>

namespace Qv::Comp {

/// An open file of the system, closed at scope exit.
class Descriptor {
public:
    /// Takes what the system's call gave: negative when it failed.
    explicit Descriptor( int value ) noexcept
        : _value( value ) {}
    Descriptor( Descriptor&& other ) noexcept
        : _value( std::exchange( other._value, -1 ) ) {}
    Descriptor( const Descriptor& ) = delete;
    Descriptor& operator=( const Descriptor& ) = delete;
    ~Descriptor() {
        if( isOpen() ) {
            ::close( _value );
        }
    }

    bool isOpen() const noexcept { return _value >= 0; }
    int get() const noexcept { return _value; }

private:
    int _value;
};

} // namespace Qv::Comp
