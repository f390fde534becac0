#pragma once

#include <resmgt/random/rnHammersleyMultiRng.h>
#include <resmgt/random/rnPairRng.h>

namespace Qv {

/// The Hammersley set of the plane: RnHammersleyMultiRng of two dimensions, in pairs.
template <class T>
class QV_TEMPLATE_API RnHammersleyBiRng final : public RnPairRng<T, RnHammersleyMultiRng<T, 2>> {
public:
    explicit RnHammersleyBiRng( unsigned int length );
    /// `bases` is the one base of `y`.
    RnHammersleyBiRng( unsigned int length, unsigned int const* bases );
};

extern template class RnHammersleyBiRng<float>;
extern template class RnHammersleyBiRng<double>;

} // namespace Qv
