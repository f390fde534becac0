#pragma once

#include <base/qvBaseApi.h>

#include <iosfwd>
#include <vector>

namespace Qv {

/// A table of bins over an interval, each with a weight. Bin i holds the numbers from edge i up to,
/// but without edge i + 1.
///
/// Weights: sums in double for both types, so that the millions of a float's bin aren't lost.
/// Errors:  edges that don't rise, aren't finite or lie further apart than `T` can express, more
///          than 2147483646 bins, and weights that are negative or not finite are assertions.
///          After these, and after std::bad_alloc, all is as before.
template <class T>
class QV_TEMPLATE_API RnHistogram {
public:
    /// `edges` are `nbBins` + 1 numbers, which are copied. A table without bins reads none.
    RnHistogram( unsigned int nbBins, T const* edges );
    /// Bins of equal width from `min` to `max`.
    RnHistogram( unsigned int nbBins, T min, T max );
    RnHistogram( const RnHistogram& ) = default;
    RnHistogram& operator=( const RnHistogram& other );
    /// Leave `other` without bins.
    RnHistogram( RnHistogram&& other ) noexcept = default;
    RnHistogram& operator=( RnHistogram&& other ) noexcept = default;
    virtual ~RnHistogram();

    /// The index of the bin that holds `x`. -1 for a table without bins, for NaN and for what lies
    /// below the first edge; at and above the last edge the index of that edge, which is no bin.
    virtual int find( T x ) const;

    /// The index of the bin that holds `x` by the edges, -1 if none does.
    int findBin( T x ) const;

    /// Adds a weight to the bin that holds `x`; returns whether there is one. All from the first
    /// edge up to, but without the last one is in a bin.
    bool add( T x, double weight = 1 );
    /// Adds a weight to a bin; asserts that there is such a bin.
    void addToBin( int bin, double weight );
    /// Sets all weights to 0.
    void clear();

    int getNbBins() const;
    /// The weight of a bin; asserts that there is such a bin.
    double getWeight( int bin ) const;
    /// All weights.
    const std::vector<double>& getWeights() const;
    /// The edges, one more than bins; empty in a table without bins.
    const std::vector<T>& getEdges() const;

    /// Writes one line a bin: its edges and its weight.
    void dump( std::ostream& stream ) const;
    /// Writes the scene of the histogram for a viewer of Inventor files: a point a bin, the axes.
    /// Both coordinates are brought into 0 ... 1.
    void dumpInventor( std::ostream& stream ) const;

private:
    void checkEdges() const;

    std::vector<T> _edges;
    std::vector<double> _weights;
};

extern template class RnHistogram<float>;
extern template class RnHistogram<double>;

} // namespace Qv
