#pragma once

#include <resmgt/random/rnMultiRng.h>
#include <resmgt/random/rnRng.h>

namespace Qv {

/// Points of `N` independent coordinates: successive values of one source, which isn't owned and
/// must outlive this object. Asserts that there is one.
template <class T, unsigned int N>
class QV_TEMPLATE_API RnSeparableMultiRng final : public RnMultiRng<T, N> {
public:
    explicit RnSeparableMultiRng( RnRng<T>* source );

    void getSample( T* values ) override;
    /// One dimension after the other.
    void getSequence( unsigned int n, T* const* values ) override;

    void getEfficientWidth( T* values ) const override;
    void getEfficientMin( T* values ) const override;
    void getEfficientMax( T* values ) const override;
    /// That of the source to the power of `N`; the density is the product of the source's.
    T getEfficientFraction() const override;
    T getPdf( T const* values ) const override;

    void restart() override;
    /// "Multi Separable"
    char const* getName() const override;

private:
    RnRng<T>* _uniRng;
};

extern template class RnSeparableMultiRng<float, 2>;
extern template class RnSeparableMultiRng<double, 2>;
extern template class RnSeparableMultiRng<float, 3>;
extern template class RnSeparableMultiRng<double, 3>;
extern template class RnSeparableMultiRng<float, 4>;
extern template class RnSeparableMultiRng<double, 4>;

} // namespace Qv
