#include <resmgt/random/rnBiRng.h>

namespace Qv {

template <class T>
RnBiRng<T>::~RnBiRng() = default;

template class QV_INSTANCE_API RnBiRng<float>;
template class QV_INSTANCE_API RnBiRng<double>;

} // namespace Qv
