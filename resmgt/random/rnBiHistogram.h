#pragma once

#include <resmgt/random/rnHistogram.h>

#include <cstddef>
#include <iosfwd>
#include <vector>

namespace Qv {

/// A table of bins over a rectangle: each pair of a bin of one axis and a bin of the other is a
/// cell with a weight. Edges, weights and errors are as those of RnHistogram.
template <class T>
class QV_TEMPLATE_API RnBiHistogram {
public:
    /// The edges are copied, one more than bins of each axis.
    RnBiHistogram( unsigned int nbXs, T const* xEdges, unsigned int nbYs, T const* yEdges );
    /// Bins of equal width.
    RnBiHistogram( unsigned int nbXs, T xMin, T xMax, unsigned int nbYs, T yMin, T yMax );
    RnBiHistogram( const RnBiHistogram& ) = default;
    RnBiHistogram& operator=( const RnBiHistogram& other );
    /// Leave `other` without bins.
    RnBiHistogram( RnBiHistogram&& other ) noexcept = default;
    RnBiHistogram& operator=( RnBiHistogram&& other ) noexcept = default;

    /// Adds a weight to the cell that holds the point; returns whether there is one.
    bool add( T x, T y, double weight = 1 );
    /// Adds a weight to a cell; asserts that there is such a cell.
    void addToBin( int xBin, int yBin, double weight );
    /// Forgets all that was added.
    void clear();

    /// The weight of a cell; asserts that there is such a cell.
    double getWeight( int xBin, int yBin ) const;
    /// All weights: those of the first bin of x, by y, then of the second one.
    const std::vector<double>& getWeights() const;
    /// An axis: its edges, and for each of its bins the sum of the weights.
    const RnHistogram<T>& getX() const;
    const RnHistogram<T>& getY() const;

    /// Writes one line a cell: its edges and its weight.
    void dump( std::ostream& stream ) const;
    /// Writes the scene of the histogram for a viewer of Inventor files: a point a cell, the axes,
    /// two corners. All coordinates are brought into 0 ... 1.
    void dumpInventor( std::ostream& stream ) const;

private:
    std::size_t getCell( int xBin, int yBin ) const;

    RnHistogram<T> _x;
    RnHistogram<T> _y;
    std::vector<double> _weights;
};

extern template class RnBiHistogram<float>;
extern template class RnBiHistogram<double>;

} // namespace Qv
