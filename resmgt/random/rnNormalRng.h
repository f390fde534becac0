#pragma once

#include <resmgt/random/rnRng.h>

namespace Qv {

/// What generators of normally distributed values have in common: the source, the mean, the sigma.
///
/// Source: isn't owned and must outlive this object.
/// Errors: a missing source, and a sigma that isn't above 0, are assertions.
template <class T>
class QV_TEMPLATE_API RnNormalRng : public RnRng<T> {
public:
    void getSample( T& value ) override;

    /// 4 sigma, centred at the mean.
    T getEfficientWidth() const override;
    T getEfficientMin() const override;
    T getEfficientMax() const override;
    /// The constant 0.99993666: the share within four sigma on each side, though the box has but
    /// two.
    T getEfficientFraction() const override;
    T getPdf( T x ) const override;

    /// Restarts the source.
    void restart() override;

protected:
    RnNormalRng( RnRng<T>* source, T mean, T sigma );

    RnRng<T>& getSource() const noexcept { return *_uniRng; }
    /// The value of the standard distribution as one of this.
    T scale( T value ) const noexcept { return value * _sigma + _mean; }

private:
    RnRng<T>* _uniRng;
    T _mean;
    T _sigma;
};

extern template class RnNormalRng<float>;
extern template class RnNormalRng<double>;

} // namespace Qv
