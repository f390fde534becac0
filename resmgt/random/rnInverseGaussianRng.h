#pragma once

#include <resmgt/random/rnNormalRng.h>

namespace Qv {

/// Normally distributed values by the inverse of the distribution: one number of the source a
/// value, in the source's order, so that low-discrepancy sequences keep their evenness. The inverse
/// is Wichura's (Applied Statistics 37, 1988, AS 241, PPND16), with a relative error below
/// 1e-15.
///
/// Source: its numbers are taken as within [2^-54, 1 - 2^-53]: 0 and 1 give -8.29 and 8.21 sigma,
///         NaN gives NaN.
template <class T>
class QV_TEMPLATE_API RnInverseGaussianRng final : public RnNormalRng<T> {
public:
    /// With the mean 0 and the sigma 1.
    explicit RnInverseGaussianRng( RnRng<T>* source );
    RnInverseGaussianRng( RnRng<T>* source, T mean, T sigma );

    T operator()() override;
    void getSequence( unsigned int n, T* values ) override;
    /// The value below which the standard distribution has the share `u`.
    static T map( T u );

    /// "Inverse Gaussian"
    char const* getName() const override;
};

extern template class RnInverseGaussianRng<float>;
extern template class RnInverseGaussianRng<double>;

} // namespace Qv
