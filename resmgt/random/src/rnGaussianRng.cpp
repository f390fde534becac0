#include <resmgt/random/rnGaussianRng.h>

#include <resmgt/random/src/rnState.h>

#include <base/failure/assertions.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace Qv {

namespace {

// A fair source is refused once in 10^6600 times; one that is stuck must not hang its caller.
constexpr unsigned int MAX_REJECTED = 10000;
constexpr unsigned int NB_PAIRS_AT_ONCE = 64;

// The squared length of a point of the square [-1, 1] x [-1, 1].
template <class T>
T squaredLength( T u, T v ) {
    return u * u + v * v;
}

// What makes normal values of a point in the unit circle. ln( 0 ) isn't guarded.
template <class T>
T stretch( T x ) {
    return std::sqrt( T( -2 ) * std::log( x ) / x );
}

// Of `nbPairs` points of the unit square, brought into [-1, 1] x [-1, 1], those that are accepted
// come to the front, with their squared lengths; returns how many.
template <class T>
unsigned int keepInCircle( unsigned int nbPairs, T* points, T* lengths ) {
    unsigned int nbTaken = 0;
    for( unsigned int i = 0; i < nbPairs; ++i ) {
        const T u = 2 * points[2 * i] - 1;
        const T v = 2 * points[2 * i + 1] - 1;
        points[2 * nbTaken] = u;
        points[2 * nbTaken + 1] = v;
        lengths[nbTaken] = squaredLength( u, v );
        // Not "< 1": what isn't a number isn't refused.
        nbTaken += lengths[nbTaken] >= 1 ? 0 : 1;
    }
    return nbTaken;
}

} // namespace

template <class T>
RnGaussianRng<T>::RnGaussianRng( RnRng<T>* source )
    : RnGaussianRng( source, 0, 1 ) {}

template <class T>
RnGaussianRng<T>::RnGaussianRng( RnRng<T>* source, T mean, T sigma )
    : RnNormalRng<T>( source, mean, sigma ) {}

template <class T>
T RnGaussianRng<T>::eval() {
    if( _hasSpare ) {
        _hasSpare = false;
        return _spare;
    }
    T u;
    T v;
    T x;
    unsigned int nbRejected = 0;
    while( u = 2 * this->getSource()() - 1, v = 2 * this->getSource()() - 1,
           x = squaredLength( u, v ), x >= 1 ) {
        ++nbRejected;
        QV_ASSERT( nbRejected < MAX_REJECTED );
    }
    const T factor = stretch( x );
    _spare = v * factor;
    _hasSpare = true;
    return u * factor;
}

template <class T>
T RnGaussianRng<T>::operator()() {
    return this->scale( eval() );
}

template <class T>
void RnGaussianRng<T>::getSequence( unsigned int n, T* values ) {
    if( n > 0 && _hasSpare ) {
        *values++ = this->scale( eval() );
        --n;
    }
    // Each pair of values needs at least one pair of the source: so many are taken at once.
    T points[2 * NB_PAIRS_AT_ONCE];
    T lengths[NB_PAIRS_AT_ONCE];
    unsigned int nbRejected = 0;
    while( n > 1 ) {
        const unsigned int nbPairs = std::min( n / 2, NB_PAIRS_AT_ONCE );
        this->getSource().getSequence( 2 * nbPairs, points );
        const unsigned int nbTaken = keepInCircle( nbPairs, points, lengths );
        for( unsigned int i = 0; i < nbTaken; ++i ) {
            const T factor = stretch( lengths[i] );
            values[2 * i] = this->scale( points[2 * i] * factor );
            values[2 * i + 1] = this->scale( points[2 * i + 1] * factor );
        }
        values += 2 * nbTaken;
        n -= 2 * nbTaken;
        nbRejected = nbTaken > 0 ? 0 : nbRejected + nbPairs;
        QV_ASSERT( nbRejected < MAX_REJECTED );
    }
    if( n > 0 ) {
        *values = ( *this )();
    }
}

template <class T>
void RnGaussianRng<T>::forgetSpare() {
    _hasSpare = false;
}

template <class T>
char const* RnGaussianRng<T>::getName() const {
    return "Gaussian";
}

// Whether there is a spare, and the bits of its value as a double, which are 0 without one.
template <class T>
std::string RnGaussianRng<T>::getState() const {
    const std::uint64_t bits = std::bit_cast<std::uint64_t>( static_cast<double>( _spare ) );
    return writeRnState( getName(), { _hasSpare ? 1u : 0u, _hasSpare ? bits : 0 } );
}

template <class T>
void RnGaussianRng<T>::setState( std::string_view text ) {
    RnStateReader reader( getName(), text );
    const bool hasSpare = reader.next32( 0, 1 ) != 0;
    constexpr std::uint64_t anyBits = std::numeric_limits<std::uint64_t>::max();
    const auto spare = std::bit_cast<double>( reader.next( 0, hasSpare ? anyBits : 0 ) );
    reader.end();
    if( std::isfinite( spare ) && std::abs( spare ) > std::numeric_limits<T>::max() ) {
        reader.refuse();
    }
    _hasSpare = hasSpare;
    _spare = static_cast<T>( spare );
}

template class QV_INSTANCE_API RnGaussianRng<float>;
template class QV_INSTANCE_API RnGaussianRng<double>;

} // namespace Qv
