#include <resmgt/random/rnBiHistogram.h>

#include <resmgt/random/src/rnInventor.h>
#include <resmgt/random/src/rnWeights.h>

#include <algorithm>
#include <cmath>
#include <ostream>

namespace Qv {

template <class T>
RnBiHistogram<T>::RnBiHistogram( unsigned int nbXs, T const* xEdges, unsigned int nbYs,
                                 T const* yEdges )
    : _x( nbXs, xEdges )
    , _y( nbYs, yEdges )
    , _weights( std::size_t( nbXs ) * nbYs ) {}

template <class T>
RnBiHistogram<T>::RnBiHistogram( unsigned int nbXs, T xMin, T xMax, unsigned int nbYs, T yMin,
                                 T yMax )
    : _x( nbXs, xMin, xMax )
    , _y( nbYs, yMin, yMax )
    , _weights( std::size_t( nbXs ) * nbYs ) {}

// As that of RnHistogram.
template <class T>
RnBiHistogram<T>& RnBiHistogram<T>::operator=( const RnBiHistogram& other ) {
    return *this = RnBiHistogram( other );
}

template <class T>
std::size_t RnBiHistogram<T>::getCell( int xBin, int yBin ) const {
    QV_ASSERT( xBin >= 0 && xBin < _x.getNbBins() );
    QV_ASSERT( yBin >= 0 && yBin < _y.getNbBins() );
    return static_cast<std::size_t>( xBin ) * static_cast<std::size_t>( _y.getNbBins() ) +
           static_cast<std::size_t>( yBin );
}

template <class T>
bool RnBiHistogram<T>::add( T x, T y, double weight ) {
    checkRnWeight( weight );
    const int xBin = _x.findBin( x );
    const int yBin = _y.findBin( y );
    if( xBin < 0 || yBin < 0 ) {
        return false;
    }
    addToBin( xBin, yBin, weight );
    return true;
}

template <class T>
void RnBiHistogram<T>::addToBin( int xBin, int yBin, double weight ) {
    const std::size_t cell = getCell( xBin, yBin );
    checkRnWeight( weight );
    // What is finite in both sums is so in the cell.
    QV_ASSERT( std::isfinite( _x.getWeight( xBin ) + weight ) );
    QV_ASSERT( std::isfinite( _y.getWeight( yBin ) + weight ) );
    _x.addToBin( xBin, weight );
    _y.addToBin( yBin, weight );
    _weights[cell] += weight;
}

template <class T>
void RnBiHistogram<T>::clear() {
    _x.clear();
    _y.clear();
    std::fill( _weights.begin(), _weights.end(), 0.0 );
}

template <class T>
double RnBiHistogram<T>::getWeight( int xBin, int yBin ) const {
    return _weights[getCell( xBin, yBin )];
}

template <class T>
const std::vector<double>& RnBiHistogram<T>::getWeights() const {
    return _weights;
}

template <class T>
const RnHistogram<T>& RnBiHistogram<T>::getX() const {
    return _x;
}

template <class T>
const RnHistogram<T>& RnBiHistogram<T>::getY() const {
    return _y;
}

template <class T>
void RnBiHistogram<T>::dump( std::ostream& stream ) const {
    const std::vector<T>& xs = _x.getEdges();
    const std::vector<T>& ys = _y.getEdges();
    for( std::size_t cell = 0; cell < _weights.size(); ++cell ) {
        const std::size_t i = cell / ( ys.size() - 1 );
        const std::size_t j = cell % ( ys.size() - 1 );
        stream << toRnText( xs[i] ) + " ... " + toRnText( xs[i + 1] ) + ", " + toRnText( ys[j] ) +
                      " ... " + toRnText( ys[j + 1] ) + ": " + toRnText( _weights[cell] ) + '\n';
    }
}

template <class T>
void RnBiHistogram<T>::dumpInventor( std::ostream& stream ) const {
    RnInventorScene scene( stream );
    scene.beginPoints();
    const RnUnitScale heights( _weights );
    const std::vector<T>& ys = _y.getEdges();
    for( std::size_t cell = 0; cell < _weights.size(); ++cell ) {
        scene.addPoint( getRnPlace( _x.getEdges(), cell / ( ys.size() - 1 ) ),
                        getRnPlace( ys, cell % ( ys.size() - 1 ) ), heights( _weights[cell] ) );
    }
    scene.endPoints();
    scene.addLines( "0 0 0, 0 1 0, 0 0 0, 1 0 0, 0 0 0, 0 0 1, 1 0 0, 1 0 1, 0 1 0, 0 1 1, ", 5 );
}

template class QV_INSTANCE_API RnBiHistogram<float>;
template class QV_INSTANCE_API RnBiHistogram<double>;

} // namespace Qv
