#pragma once

#include <resmgt/random/rnHistogram.h>

namespace Qv {

/// A histogram whose bins have equal widths, found without a search.
template <class T>
class QV_TEMPLATE_API RnUniformHistogram final : public RnHistogram<T> {
public:
    RnUniformHistogram( unsigned int nbBins, T min, T max );

    /// floor( nbBins * ( x - min ) / width ), whether or not there is such a bin; cut to the range
    /// of `int`. -1 for a table without bins and for NaN. Near an edge rounding may give the bin
    /// beside it; add() goes by the edges.
    int find( T x ) const override;

private:
    T _min;
    T _width;
};

extern template class RnUniformHistogram<float>;
extern template class RnUniformHistogram<double>;

} // namespace Qv
