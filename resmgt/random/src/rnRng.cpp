#include <resmgt/random/rnRng.h>

namespace Qv {

template <class T>
RnRng<T>::~RnRng() = default;

template class QV_INSTANCE_API RnRng<float>;
template class QV_INSTANCE_API RnRng<double>;

} // namespace Qv
