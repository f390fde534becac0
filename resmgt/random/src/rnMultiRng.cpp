#include <resmgt/random/rnMultiRng.h>

namespace Qv {

template <class T, unsigned int N>
RnMultiRng<T, N>::~RnMultiRng() = default;

template class QV_INSTANCE_API RnMultiRng<float, 2>;
template class QV_INSTANCE_API RnMultiRng<double, 2>;
template class QV_INSTANCE_API RnMultiRng<float, 3>;
template class QV_INSTANCE_API RnMultiRng<double, 3>;
template class QV_INSTANCE_API RnMultiRng<float, 4>;
template class QV_INSTANCE_API RnMultiRng<double, 4>;

} // namespace Qv
