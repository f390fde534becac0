#pragma once

#include <resmgt/random/rnBiHistogram.h>
#include <resmgt/random/rnBiRng.h>
#include <resmgt/random/rnInverseTable.h>

#include <memory>
#include <vector>

namespace Qv {

/// Points with the density of a histogram over a rectangle, constant within each cell: x by the
/// marginal table, y by the table of the cells in the column of x. Cells without weight are never
/// hit.
///
/// Source, histogram, numbers and errors are as those of RnHistogramRng.
template <class T>
class QV_TEMPLATE_API RnHistogramBiRng final : public RnBiRng<T> {
public:
    RnHistogramBiRng( RnBiHistogram<T> const& histogram, RnBiRng<T>* source );
    // As those of RnInverseTable.
    RnHistogramBiRng( const RnHistogramBiRng& ) = default;
    RnHistogramBiRng& operator=( const RnHistogramBiRng& ) = default;

    void getSample( T& x, T& y ) override;
    void getSequence( unsigned int n, T* xs, T* ys ) override;

    /// The edges.
    void getEfficientWidth( T& x, T& y ) const override;
    void getEfficientMin( T& x, T& y ) const override;
    void getEfficientMax( T& x, T& y ) const override;
    /// The share of the box that cells with weight cover.
    T getEfficientFraction() const override;
    T getPdf( T x, T y ) const override;

    void restart() override;
    /// "HistogramBi"
    char const* getName() const override;

private:
    void map( T& x, T& y ) const;

    RnBiRng<T>* _rng;
    RnInverseTable<T> _marginal;
    std::shared_ptr<const std::vector<RnInverseTable<T>>> _columns;
};

extern template class RnHistogramBiRng<float>;
extern template class RnHistogramBiRng<double>;

} // namespace Qv
