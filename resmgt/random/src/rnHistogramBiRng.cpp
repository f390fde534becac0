#include <resmgt/random/rnHistogramBiRng.h>

#include <base/failure/assertions.h>

#include <memory>
#include <span>

namespace Qv {

namespace {

template <class T>
std::shared_ptr<const std::vector<RnInverseTable<T>>>
makeColumns( RnBiHistogram<T> const& histogram ) {
    const auto edges = std::make_shared<const std::vector<T>>( histogram.getY().getEdges() );
    const auto nbYs = static_cast<std::size_t>( histogram.getY().getNbBins() );
    const std::span<const double> weights( histogram.getWeights() );
    const auto columns = std::make_shared<std::vector<RnInverseTable<T>>>();
    for( std::size_t cell = 0; cell < weights.size(); cell += nbYs ) {
        columns->emplace_back( edges, weights.subspan( cell, nbYs ) );
    }
    return columns;
}

template <class T>
RnInverseTable<T> makeTable( const RnHistogram<T>& histogram ) {
    return { std::make_shared<const std::vector<T>>( histogram.getEdges() ),
             histogram.getWeights() };
}

} // namespace

template <class T>
RnHistogramBiRng<T>::RnHistogramBiRng( RnBiHistogram<T> const& histogram, RnBiRng<T>* source )
    : _rng( source )
    , _marginal( makeTable( histogram.getX() ) )
    , _columns( makeColumns( histogram ) ) {
    QV_ASSERT( _rng );
    QV_ASSERT( _marginal.hasWeight() );
}

template <class T>
void RnHistogramBiRng<T>::map( T& x, T& y ) const {
    const auto place = _marginal.find( x );
    x = place._x;
    y = ( *_columns )[place._bin].find( y )._x;
}

template <class T>
void RnHistogramBiRng<T>::getSample( T& x, T& y ) {
    _rng->getSample( x, y );
    map( x, y );
}

template <class T>
void RnHistogramBiRng<T>::getSequence( unsigned int n, T* xs, T* ys ) {
    _rng->getSequence( n, xs, ys );
    for( unsigned int i = 0; i < n; ++i ) {
        map( xs[i], ys[i] );
    }
}

template <class T>
void RnHistogramBiRng<T>::getEfficientWidth( T& x, T& y ) const {
    x = _marginal.getWidth();
    y = _columns->front().getWidth();
}

template <class T>
void RnHistogramBiRng<T>::getEfficientMin( T& x, T& y ) const {
    x = _marginal.getMin();
    y = _columns->front().getMin();
}

template <class T>
void RnHistogramBiRng<T>::getEfficientMax( T& x, T& y ) const {
    x = _marginal.getMax();
    y = _columns->front().getMax();
}

template <class T>
T RnHistogramBiRng<T>::getEfficientFraction() const {
    double share = 0;
    for( std::size_t i = 0; i < _columns->size(); ++i ) {
        share += _marginal.getShareOfWidth( i ) * ( *_columns )[i].getShareWithWeight();
    }
    return static_cast<T>( share );
}

template <class T>
T RnHistogramBiRng<T>::getPdf( T x, T y ) const {
    const std::ptrdiff_t bin = _marginal.findBin( x );
    return bin < 0
               ? T( 0 )
               : _marginal.getPdf( x ) * ( *_columns )[static_cast<std::size_t>( bin )].getPdf( y );
}

template <class T>
void RnHistogramBiRng<T>::restart() {
    _rng->restart();
}

template <class T>
char const* RnHistogramBiRng<T>::getName() const {
    return "HistogramBi";
}

template class QV_INSTANCE_API RnHistogramBiRng<float>;
template class QV_INSTANCE_API RnHistogramBiRng<double>;

} // namespace Qv
