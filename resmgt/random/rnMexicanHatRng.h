#pragma once

#include <resmgt/random/rnRng.h>

namespace Qv {

/// Values whose density is a tent: highest at the centre, 0 at half the width to both sides.
///
/// Source: one number a value; isn't owned and must outlive this object.
/// Errors: a missing source, and a width that isn't above 0, are assertions.
template <class T>
class QV_TEMPLATE_API RnMexicanHatRng final : public RnRng<T> {
public:
    /// With the centre 0 and the width 1.
    explicit RnMexicanHatRng( RnRng<T>* source );
    RnMexicanHatRng( RnRng<T>* source, T centre, T width );

    T operator()() override;
    void getSample( T& value ) override;
    void getSequence( unsigned int n, T* values ) override;

    T getEfficientWidth() const override;
    T getEfficientMin() const override;
    T getEfficientMax() const override;
    T getEfficientFraction() const override;
    T getPdf( T x ) const override;

    void restart() override;
    /// "Mexican Hat"
    char const* getName() const override;

private:
    T map( T u ) const;

    RnRng<T>* _uniRng;
    T _centre;
    T _halfwidth;
};

extern template class RnMexicanHatRng<float>;
extern template class RnMexicanHatRng<double>;

} // namespace Qv
