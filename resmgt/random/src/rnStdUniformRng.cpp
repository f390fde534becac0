#include <resmgt/random/rnStdUniformRng.h>

#include <bit>
#include <cstdlib>

namespace Qv {

namespace {

constexpr int NB_BITS = 15;
constexpr int NB_LOWER_BITS = std::bit_width( static_cast<unsigned int>( RAND_MAX ) ) - NB_BITS;

} // namespace

template <class T>
RnStdUniformRng<T>::RnStdUniformRng()
    : _seed( 1 ) {}

template <class T>
RnStdUniformRng<T>::RnStdUniformRng( unsigned int seed )
    : _seed( seed ) {
    std::srand( _seed );
}

template <class T>
T RnStdUniformRng<T>::operator()() {
    return static_cast<T>( ( std::rand() >> NB_LOWER_BITS ) / 32767.0 );
}

template <class T>
void RnStdUniformRng<T>::getSequence( unsigned int n, T* values ) {
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = ( *this )();
    }
}

template <class T>
void RnStdUniformRng<T>::restart() {
    std::srand( _seed );
}

template <class T>
char const* RnStdUniformRng<T>::getName() const {
    return "Std OS-specific generator";
}

template <class T>
void RnStdUniformRng<T>::skip( std::uint64_t n ) {
    for( ; n > 0; --n ) {
        std::rand();
    }
}

template class QV_INSTANCE_API RnStdUniformRng<float>;
template class QV_INSTANCE_API RnStdUniformRng<double>;

} // namespace Qv
