#pragma once

#include <resmgt/random/rnHistogram.h>
#include <resmgt/random/rnInverseTable.h>
#include <resmgt/random/rnRng.h>

namespace Qv {

/// Values with the density of a histogram, constant within each bin: the inverse of the cumulative
/// distribution, one number of the source a value. Bins without weight are never hit.
///
/// Source:    isn't owned and must outlive this object.
/// Histogram: is read by the constructor; later changes have no effect.
/// Numbers:   1 of the source gives the end of the last bin with weight, NaN gives NaN.
/// Errors:    a missing source and a histogram without weight are assertions.
template <class T>
class QV_TEMPLATE_API RnHistogramRng final : public RnRng<T> {
public:
    RnHistogramRng( RnHistogram<T> const& histogram, RnRng<T>* source );

    T operator()() override;
    void getSample( T& value ) override;
    void getSequence( unsigned int n, T* values ) override;

    /// The edges.
    T getEfficientWidth() const override;
    T getEfficientMin() const override;
    T getEfficientMax() const override;
    /// The share of the box that bins with weight cover.
    T getEfficientFraction() const override;
    T getPdf( T x ) const override;

    void restart() override;
    /// "Histogram"
    char const* getName() const override;

private:
    RnRng<T>* _rng;
    RnInverseTable<T> _table;
};

extern template class RnHistogramRng<float>;
extern template class RnHistogramRng<double>;

} // namespace Qv
