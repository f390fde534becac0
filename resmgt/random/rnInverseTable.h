#pragma once

#include <base/qvBaseApi.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Qv {

/// The inverse of a cumulative distribution that is constant within bins: what the samplers of
/// histograms are made of. Copies share all tables, and never fail.
template <class T>
class QV_TEMPLATE_API RnInverseTable {
public:
    /// A place, and the bin that holds it.
    struct Place {
        /// The place.
        T _x;
        /// The bin.
        std::size_t _bin;
    };
    /// The edges of the bins, shared by copies.
    using Edges = std::shared_ptr<const std::vector<T>>;

    /// `edges` are one more than weights. Weights whose sum isn't finite are an assertion. Without
    /// weight all densities are 0, and no place may be asked for.
    RnInverseTable( Edges edges, std::span<const double> weights );
    // Moving would leave none behind.
    RnInverseTable( const RnInverseTable& ) = default;
    RnInverseTable& operator=( const RnInverseTable& ) = default;

    bool hasWeight() const;
    /// The place below which the share `u` of the weight lies. 1 and above give the end of the last
    /// bin with weight, 0 and below the begin of the first one, NaN gives NaN.
    Place find( T u ) const;
    /// The bin that holds `x`, -1 outside the edges.
    std::ptrdiff_t findBin( T x ) const;
    /// The density at `x`, 0 outside the edges.
    T getPdf( T x ) const;

    T getMin() const;
    T getMax() const;
    T getWidth() const;
    /// The share of the width that a bin has.
    double getShareOfWidth( std::size_t bin ) const;
    /// The share of the width that the bins with weight have.
    double getShareWithWeight() const;

private:
    Edges _edges;
    // [i] is the share of the weight below edge i.
    std::shared_ptr<const std::vector<double>> _cumulative;
    // The last bin with weight.
    std::size_t _last = 0;
    double _shareWithWeight = 0;
};

extern template class RnInverseTable<float>;
extern template class RnInverseTable<double>;

} // namespace Qv
