#include <resmgt/random/rnHistogramRng.h>

#include <base/failure/assertions.h>

#include <memory>
#include <vector>

namespace Qv {

template <class T>
RnHistogramRng<T>::RnHistogramRng( RnHistogram<T> const& histogram, RnRng<T>* source )
    : _rng( source )
    , _table( std::make_shared<const std::vector<T>>( histogram.getEdges() ),
              histogram.getWeights() ) {
    QV_ASSERT( _rng );
    QV_ASSERT( _table.hasWeight() );
}

template <class T>
T RnHistogramRng<T>::operator()() {
    return _table.find( ( *_rng )() )._x;
}

template <class T>
void RnHistogramRng<T>::getSample( T& value ) {
    value = ( *this )();
}

template <class T>
void RnHistogramRng<T>::getSequence( unsigned int n, T* values ) {
    _rng->getSequence( n, values );
    for( unsigned int i = 0; i < n; ++i ) {
        values[i] = _table.find( values[i] )._x;
    }
}

template <class T>
T RnHistogramRng<T>::getEfficientWidth() const {
    return _table.getWidth();
}

template <class T>
T RnHistogramRng<T>::getEfficientMin() const {
    return _table.getMin();
}

template <class T>
T RnHistogramRng<T>::getEfficientMax() const {
    return _table.getMax();
}

template <class T>
T RnHistogramRng<T>::getEfficientFraction() const {
    return static_cast<T>( _table.getShareWithWeight() );
}

template <class T>
T RnHistogramRng<T>::getPdf( T x ) const {
    return _table.getPdf( x );
}

template <class T>
void RnHistogramRng<T>::restart() {
    _rng->restart();
}

template <class T>
char const* RnHistogramRng<T>::getName() const {
    return "Histogram";
}

template class QV_INSTANCE_API RnHistogramRng<float>;
template class QV_INSTANCE_API RnHistogramRng<double>;

} // namespace Qv
