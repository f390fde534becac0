#include <resmgt/random/rnXoshiroUniformRng.h>

#include <resmgt/random/src/rnState.h>

namespace Qv {

namespace {

using Polynomial = std::array<std::uint64_t, 4>;

// One step of the generator is a linear map of its 256 bits; this is the map's characteristic
// polynomial without x^256, the coefficient of x^0 in the lowest bit. Found by the method of
// Berlekamp and Massey; x^(2^128) modulo it is JUMP.
constexpr Polynomial CHARACTERISTIC = { 0x9d116f2bb0f0f001, 0x0280002bcefd1a5e, 0x04b4edcf26259f85,
                                        0x0003c03c3f3ecb19 };
// Published with the generator.
constexpr Polynomial JUMP = { 0x180ec6d33cfd0aba, 0xd5a61266f0c9392c, 0xa9582618e03fc9aa,
                              0x39abdc4529b1661c };
// So many steps one by one cost about as much as a leap.
constexpr std::uint64_t NB_SINGLE_STEPS = 30000;

bool hasBit( const Polynomial& polynomial, unsigned int bit ) {
    return ( polynomial[bit / 64] >> bit % 64 & 1 ) != 0;
}

void add( Polynomial& sum, const Polynomial& summand ) {
    for( std::size_t i = 0; i < sum.size(); ++i ) {
        sum[i] ^= summand[i];
    }
}

void multiplyByX( Polynomial& polynomial ) {
    const bool overflows = hasBit( polynomial, 255 );
    for( std::size_t i = polynomial.size() - 1; i > 0; --i ) {
        polynomial[i] = polynomial[i] << 1 | polynomial[i - 1] >> 63;
    }
    polynomial[0] <<= 1;
    if( overflows ) {
        add( polynomial, CHARACTERISTIC );
    }
}

Polynomial square( const Polynomial& polynomial ) {
    Polynomial result{};
    for( unsigned int bit = 256; bit-- > 0; ) {
        multiplyByX( result );
        if( hasBit( polynomial, bit ) ) {
            add( result, polynomial );
        }
    }
    return result;
}

Polynomial powerOfX( std::uint64_t exponent ) {
    Polynomial result = { 1, 0, 0, 0 };
    for( auto bit = static_cast<int>( std::bit_width( exponent ) ); bit-- > 0; ) {
        result = square( result );
        if( ( exponent >> bit & 1 ) != 0 ) {
            multiplyByX( result );
        }
    }
    return result;
}

// Steele, Lea, Flood: Fast splittable pseudorandom number generators, OOPSLA 2014.
std::uint64_t splitMix( std::uint64_t& state ) {
    state += 0x9e3779b97f4a7c15;
    std::uint64_t mixed = state;
    mixed = ( mixed ^ mixed >> 30 ) * 0xbf58476d1ce4e5b9;
    mixed = ( mixed ^ mixed >> 27 ) * 0x94d049bb133111eb;
    return mixed ^ mixed >> 31;
}

} // namespace

template <class T>
RnXoshiroUniformRng<T>::RnXoshiroUniformRng()
    : RnXoshiroUniformRng( 0 ) {}

template <class T>
RnXoshiroUniformRng<T>::RnXoshiroUniformRng( std::uint64_t seed ) {
    restart( seed );
}

template <class T>
void RnXoshiroUniformRng<T>::getSequence( unsigned int n, T* values ) {
    State state = _state;
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = toUnitInterval( advance( state ) );
    }
    _state = state;
}

template <class T>
void RnXoshiroUniformRng<T>::moveBy( const State& polynomial ) {
    State sum{};
    for( unsigned int bit = 0; bit < 256; ++bit ) {
        if( hasBit( polynomial, bit ) ) {
            add( sum, _state );
        }
        advance( _state );
    }
    _state = sum;
}

template <class T>
void RnXoshiroUniformRng<T>::jump() {
    moveBy( JUMP );
    _start = _state;
}

template <class T>
void RnXoshiroUniformRng<T>::restart() {
    _state = _start;
}

template <class T>
void RnXoshiroUniformRng<T>::restart( std::uint64_t seed ) {
    for( std::uint64_t& word : _start ) {
        word = splitMix( seed );
    }
    _state = _start;
}

template <class T>
char const* RnXoshiroUniformRng<T>::getName() const {
    return "Xoshiro256++";
}

template <class T>
std::string RnXoshiroUniformRng<T>::getState() const {
    return writeRnState( getName(), { _start[0], _start[1], _start[2], _start[3], _state[0],
                                      _state[1], _state[2], _state[3] } );
}

template <class T>
void RnXoshiroUniformRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    State read[2];
    for( State& state : read ) {
        for( std::uint64_t& word : state ) {
            word = reader.next( 0, std::numeric_limits<std::uint64_t>::max() );
        }
        // The one state that no other one leads to, and that gives nothing but 0.
        if( state == State{} ) {
            reader.refuse();
        }
    }
    reader.end();
    _start = read[0];
    _state = read[1];
}

template <class T>
void RnXoshiroUniformRng<T>::skip( std::uint64_t n ) {
    if( n > NB_SINGLE_STEPS ) {
        moveBy( powerOfX( n ) );
        return;
    }
    for( ; n > 0; --n ) {
        advance( _state );
    }
}

template class QV_INSTANCE_API RnXoshiroUniformRng<float>;
template class QV_INSTANCE_API RnXoshiroUniformRng<double>;

} // namespace Qv
