#pragma once

#include <resmgt/random/rnRng.h>

#include <string>
#include <string_view>

namespace Qv {

/// Normally distributed values, by the polar form of the method of Box and Muller. Two values are
/// made of each accepted pair of the source's numbers; the second one is kept for the next call.
///
/// Source:    isn't owned and must outlive this object. Its numbers must be independent of one
///            another: for a low-discrepancy sequence take RnInverseGaussianRng.
/// Errors:    a missing source, and a sigma that isn't above 0, are assertions, as is a source of
///            which 10000 pairs in a row are refused.
/// Unguarded: a source that gives 0.5 twice makes NaN, as does one that gives NaN.
template <class T>
class QV_TEMPLATE_API RnGaussianRng final : public RnRng<T> {
public:
    /// With the mean 0 and the sigma 1.
    explicit RnGaussianRng( RnRng<T>* source );
    RnGaussianRng( RnRng<T>* source, T mean, T sigma );

    T operator()() override;
    void getSample( T& value ) override;
    /// The same values as by single calls, faster; no number of the source is wasted.
    void getSequence( unsigned int n, T* values ) override;
    /// The next value of the standard distribution, without the mean and sigma.
    T eval();

    /// 4 sigma, centred at the mean.
    T getEfficientWidth() const override;
    T getEfficientMin() const override;
    T getEfficientMax() const override;
    /// The constant 0.99993666: the share within four sigma on each side, though the box has but
    /// two.
    T getEfficientFraction() const override;
    T getPdf( T x ) const override;

    /// Restarts the source. A kept second value stays and comes first.
    void restart() override;
    /// Drops a kept second value: with restart() all begins anew.
    void forgetSpare();

    /// The kept second value, if there is one, as text; with the state of the source all goes on
    /// from here. Texts are the same for both number types; a float rounds a double's value.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );

    /// "Gaussian"
    char const* getName() const override;

private:
    T scale( T value ) const;

    RnRng<T>* _uniRng;
    T _mean;
    T _sigma;
    T _spare = 0;
    bool _hasSpare = false;
};

extern template class RnGaussianRng<float>;
extern template class RnGaussianRng<double>;

} // namespace Qv
