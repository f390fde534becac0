#include <resmgt/random/rnRng.h>

namespace Qv {

template <class T>
RnRng<T>::~RnRng() = default;

template class RnRng<float>;
template class RnRng<double>;

} // namespace Qv
