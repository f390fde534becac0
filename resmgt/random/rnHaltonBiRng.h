#pragma once

#include <resmgt/random/rnHaltonMultiRng.h>
#include <resmgt/random/rnPairRng.h>

namespace Qv {

/// The Halton sequence of the plane: RnHaltonMultiRng of two dimensions, in pairs.
template <class T>
class QV_TEMPLATE_API RnHaltonBiRng final : public RnPairRng<T, RnHaltonMultiRng<T, 2>> {
public:
    /// In the bases 2 and 3.
    RnHaltonBiRng();
    RnHaltonBiRng( unsigned int base0, unsigned int base1 );

    /// Two bases each, as those of RnHaltonMultiRng.
    void getPrimeNumbers( unsigned int* bases ) const;
    void setPrimeNumbers( unsigned int const* bases );

    using RnPairRng<T, RnHaltonMultiRng<T, 2>>::restart;
    /// Sets the counters: the next point is that of the index `counter` + 1.
    void restart( unsigned int counter );
};

extern template class RnHaltonBiRng<float>;
extern template class RnHaltonBiRng<double>;

} // namespace Qv
