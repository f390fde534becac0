#include <resmgt/random/rnAsymmetricalSeparableBiRng.h>

#include <base/failure/assertions.h>

namespace Qv {

template <class T>
RnAsymmetricalSeparableBiRng<T>::RnAsymmetricalSeparableBiRng( RnRng<T>* xSource,
                                                               RnRng<T>* ySource )
    : RnIndependentBiRng<T>( xSource, ySource )
    , _uniRng0( xSource )
    , _uniRng1( ySource ) {
    QV_ASSERT( _uniRng0 );
    QV_ASSERT( _uniRng1 );
}

template <class T>
void RnAsymmetricalSeparableBiRng<T>::restart() {
    _uniRng0->restart();
    _uniRng1->restart();
}

template <class T>
char const* RnAsymmetricalSeparableBiRng<T>::getName() const {
    return "Assymetrical Bi Separable";
}

template class QV_INSTANCE_API RnAsymmetricalSeparableBiRng<float>;
template class QV_INSTANCE_API RnAsymmetricalSeparableBiRng<double>;

} // namespace Qv
