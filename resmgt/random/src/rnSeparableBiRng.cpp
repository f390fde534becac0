#include <resmgt/random/rnSeparableBiRng.h>

#include <base/failure/assertions.h>

namespace Qv {

template <class T>
RnSeparableBiRng<T>::RnSeparableBiRng( RnRng<T>* source )
    : RnIndependentBiRng<T>( source, source )
    , _uniRng( source ) {
    QV_ASSERT( _uniRng );
}

template <class T>
void RnSeparableBiRng<T>::restart() {
    _uniRng->restart();
}

template <class T>
char const* RnSeparableBiRng<T>::getName() const {
    return "Symmetrical Bi Separable";
}

template class QV_INSTANCE_API RnSeparableBiRng<float>;
template class QV_INSTANCE_API RnSeparableBiRng<double>;

} // namespace Qv
