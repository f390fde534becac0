#pragma once

#include <resmgt/random/rnIndependentBiRng.h>

namespace Qv {

/// Points of two independent coordinates, each from a source of its own. The sources aren't owned
/// and must outlive this object; asserts that there are both.
template <class T>
class QV_TEMPLATE_API RnAsymmetricalSeparableBiRng final : public RnIndependentBiRng<T> {
public:
    RnAsymmetricalSeparableBiRng( RnRng<T>* xSource, RnRng<T>* ySource );

    /// Restarts both.
    void restart() override;
    /// "Assymetrical Bi Separable"
    char const* getName() const override;

private:
    RnRng<T>* _uniRng0;
    RnRng<T>* _uniRng1;
};

extern template class RnAsymmetricalSeparableBiRng<float>;
extern template class RnAsymmetricalSeparableBiRng<double>;

} // namespace Qv
