#include <resmgt/random/rnInverseTable.h>

#include <base/failure/assertions.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Qv {

template <class T>
RnInverseTable<T>::RnInverseTable( Edges edges, std::span<const double> weights )
    : _edges( std::move( edges ) ) {
    const auto cumulative = std::make_shared<std::vector<double>>( weights.size() + 1 );
    _cumulative = cumulative;
    for( std::size_t i = 0; i < weights.size(); ++i ) {
        ( *cumulative )[i + 1] = ( *cumulative )[i] + weights[i];
        if( weights[i] > 0 ) {
            _last = i;
            _shareWithWeight += getShareOfWidth( i );
        }
    }
    const double total = cumulative->back();
    QV_ASSERT( std::isfinite( total ) );
    for( double& share : *cumulative ) {
        share = total > 0 ? share / total : 0;
    }
}

template <class T>
bool RnInverseTable<T>::hasWeight() const {
    return _cumulative->back() > 0;
}

template <class T>
typename RnInverseTable<T>::Place RnInverseTable<T>::find( T u ) const {
    if( std::isnan( u ) ) {
        return { u, _last };
    }
    if( u >= 1 ) {
        return { ( *_edges )[_last + 1], _last };
    }
    const double share = std::max( static_cast<double>( u ), 0.0 );
    const auto above = std::upper_bound( _cumulative->begin(), _cumulative->end(), share );
    const auto i = static_cast<std::size_t>( above - _cumulative->begin() );
    const T begin = ( *_edges )[i - 1];
    const T end = ( *_edges )[i];
    const double part = ( share - above[-1] ) / ( above[0] - above[-1] );
    const T x = begin + static_cast<T>( part * static_cast<double>( end - begin ) );
    // The end belongs to the next bin, which may have no weight.
    return { std::min( x, std::nextafter( end, begin ) ), i - 1 };
}

template <class T>
std::ptrdiff_t RnInverseTable<T>::findBin( T x ) const {
    const auto above = std::upper_bound( _edges->begin(), _edges->end(), x );
    return std::isnan( x ) || above == _edges->end() ? -1 : above - _edges->begin() - 1;
}

template <class T>
T RnInverseTable<T>::getPdf( T x ) const {
    const std::ptrdiff_t found = findBin( x );
    if( found < 0 ) {
        return 0;
    }
    const auto bin = static_cast<std::size_t>( found );
    const T width = ( *_edges )[bin + 1] - ( *_edges )[bin];
    return static_cast<T>( ( ( *_cumulative )[bin + 1] - ( *_cumulative )[bin] ) /
                           static_cast<double>( width ) );
}

template <class T>
T RnInverseTable<T>::getMin() const {
    return _edges->front();
}

template <class T>
T RnInverseTable<T>::getMax() const {
    return _edges->back();
}

template <class T>
T RnInverseTable<T>::getWidth() const {
    return getMax() - getMin();
}

template <class T>
double RnInverseTable<T>::getShareOfWidth( std::size_t bin ) const {
    return static_cast<double>( ( *_edges )[bin + 1] - ( *_edges )[bin] ) /
           static_cast<double>( getWidth() );
}

template <class T>
double RnInverseTable<T>::getShareWithWeight() const {
    return std::min( _shareWithWeight, 1.0 );
}

template class QV_INSTANCE_API RnInverseTable<float>;
template class QV_INSTANCE_API RnInverseTable<double>;

} // namespace Qv
