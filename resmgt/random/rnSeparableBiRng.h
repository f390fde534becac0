#pragma once

#include <resmgt/random/rnIndependentBiRng.h>

namespace Qv {

/// Points of two independent coordinates: x and y are successive values of one source, which isn't
/// owned and must outlive this object. Asserts that there is one.
template <class T>
class QV_TEMPLATE_API RnSeparableBiRng final : public RnIndependentBiRng<T> {
public:
    explicit RnSeparableBiRng( RnRng<T>* source );

    void restart() override;
    /// "Symmetrical Bi Separable"
    char const* getName() const override;

private:
    RnRng<T>* _uniRng;
};

extern template class RnSeparableBiRng<float>;
extern template class RnSeparableBiRng<double>;

} // namespace Qv
