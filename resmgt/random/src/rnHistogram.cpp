#include <resmgt/random/rnHistogram.h>

#include <resmgt/random/src/rnInventor.h>
#include <resmgt/random/src/rnWeights.h>

#include <base/failure/assertions.h>

#include <algorithm>
#include <cmath>
#include <ostream>

namespace Qv {

namespace {

constexpr unsigned int MAX_BINS = 0x7ffffffe;

template <class T>
std::vector<T> copyEdges( unsigned int nbBins, T const* edges ) {
    QV_ASSERT( nbBins <= MAX_BINS );
    return nbBins == 0 ? std::vector<T>() : std::vector<T>( edges, edges + nbBins + 1 );
}

template <class T>
std::vector<T> makeEdges( unsigned int nbBins, T min, T max ) {
    QV_ASSERT( nbBins <= MAX_BINS );
    QV_ASSERT( min < max );
    QV_ASSERT( std::isfinite( max - min ) );
    std::vector<T> edges;
    for( unsigned int i = 0; nbBins > 0 && i <= nbBins; ++i ) {
        edges.push_back(
            static_cast<T>( std::lerp( static_cast<double>( min ), static_cast<double>( max ),
                                       static_cast<double>( i ) / nbBins ) ) );
    }
    return edges;
}

} // namespace

template <class T>
RnHistogram<T>::RnHistogram( unsigned int nbBins, T const* edges )
    : _edges( copyEdges( nbBins, edges ) )
    , _weights( nbBins ) {
    checkEdges();
}

template <class T>
RnHistogram<T>::RnHistogram( unsigned int nbBins, T min, T max )
    : _edges( makeEdges( nbBins, min, max ) )
    , _weights( nbBins ) {
    checkEdges();
}

// Not by members: edges without their weights would stay if there were no memory for these.
template <class T>
RnHistogram<T>& RnHistogram<T>::operator=( const RnHistogram& other ) {
    return *this = RnHistogram( other );
}

template <class T>
RnHistogram<T>::~RnHistogram() = default;

template <class T>
void RnHistogram<T>::checkEdges() const {
    for( std::size_t i = 1; i < _edges.size(); ++i ) {
        QV_ASSERT( _edges[i - 1] < _edges[i] );
    }
    QV_ASSERT( _edges.empty() || std::isfinite( _edges.back() - _edges.front() ) );
}

template <class T>
int RnHistogram<T>::find( T x ) const {
    if( _edges.empty() || std::isnan( x ) ) {
        return -1;
    }
    return static_cast<int>( std::upper_bound( _edges.begin(), _edges.end(), x ) -
                             _edges.begin() ) -
           1;
}

template <class T>
int RnHistogram<T>::findBin( T x ) const {
    if( _edges.empty() || !( x >= _edges.front() && x < _edges.back() ) ) {
        return -1;
    }
    // What find() answers near an edge may be the bin beside it.
    auto bin = static_cast<std::size_t>( std::clamp( find( x ), 0, getNbBins() - 1 ) );
    while( x < _edges[bin] ) {
        --bin;
    }
    while( x >= _edges[bin + 1] ) {
        ++bin;
    }
    return static_cast<int>( bin );
}

template <class T>
bool RnHistogram<T>::add( T x, double weight ) {
    checkRnWeight( weight );
    const int bin = findBin( x );
    if( bin < 0 ) {
        return false;
    }
    addToBin( bin, weight );
    return true;
}

template <class T>
void RnHistogram<T>::addToBin( int bin, double weight ) {
    checkRnWeight( weight );
    const double sum = getWeight( bin ) + weight;
    QV_ASSERT( std::isfinite( sum ) );
    _weights[static_cast<std::size_t>( bin )] = sum;
}

template <class T>
void RnHistogram<T>::clear() {
    std::fill( _weights.begin(), _weights.end(), 0.0 );
}

template <class T>
int RnHistogram<T>::getNbBins() const {
    return static_cast<int>( _weights.size() );
}

template <class T>
double RnHistogram<T>::getWeight( int bin ) const {
    QV_ASSERT( bin >= 0 && bin < getNbBins() );
    return _weights[static_cast<std::size_t>( bin )];
}

template <class T>
const std::vector<double>& RnHistogram<T>::getWeights() const {
    return _weights;
}

template <class T>
const std::vector<T>& RnHistogram<T>::getEdges() const {
    return _edges;
}

template <class T>
void RnHistogram<T>::dump( std::ostream& stream ) const {
    for( std::size_t i = 0; i < _weights.size(); ++i ) {
        stream << toRnText( _edges[i] ) + " ... " + toRnText( _edges[i + 1] ) + ": " +
                      toRnText( _weights[i] ) + '\n';
    }
}

template <class T>
void RnHistogram<T>::dumpInventor( std::ostream& stream ) const {
    RnInventorScene scene( stream );
    scene.beginPoints();
    const RnUnitScale heights( _weights );
    for( std::size_t i = 0; i < _weights.size(); ++i ) {
        scene.addPoint( getRnPlace( _edges, i ), heights( _weights[i] ), 0 );
    }
    scene.endPoints();
    scene.addLines( "0 0 0, 0 1 0, 0 0 0, 1 0 0, 0 0 0, 0 0 1, ", 3 );
}

template class QV_INSTANCE_API RnHistogram<float>;
template class QV_INSTANCE_API RnHistogram<double>;

} // namespace Qv
