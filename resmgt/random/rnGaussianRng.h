#pragma once

#include <resmgt/random/rnNormalRng.h>

#include <string>
#include <string_view>

namespace Qv {

/// Normally distributed values, by the polar form of the method of Box and Muller. Two values are
/// made of each accepted pair of the source's numbers; the second one is kept for the next call.
///
/// Source:    its numbers must be independent of one another: for a low-discrepancy sequence take
///            RnInverseGaussianRng.
/// Errors:    as of RnNormalRng; a source of which 10000 pairs in a row are refused is an
///            assertion, too.
/// Unguarded: a source that gives 0.5 twice makes NaN, as does one that gives NaN.
template <class T>
class QV_TEMPLATE_API RnGaussianRng final : public RnNormalRng<T> {
public:
    /// With the mean 0 and the sigma 1.
    explicit RnGaussianRng( RnRng<T>* source );
    RnGaussianRng( RnRng<T>* source, T mean, T sigma );

    T operator()() override;
    /// The same values as by single calls, faster; no number of the source is wasted.
    void getSequence( unsigned int n, T* values ) override;
    /// The next value of the standard distribution, without the mean and sigma.
    T eval();

    /// Drops a kept second value, which comes first even after restart(): with both all begins
    /// anew.
    void forgetSpare();

    /// The kept second value, if there is one, as text; with the state of the source all goes on
    /// from here. Texts are the same for both number types; a float rounds a double's value.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );

    /// "Gaussian"
    char const* getName() const override;

private:
    T _spare = 0;
    bool _hasSpare = false;
};

extern template class RnGaussianRng<float>;
extern template class RnGaussianRng<double>;

} // namespace Qv
