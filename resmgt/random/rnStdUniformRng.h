#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <cstdint>

namespace Qv {

/// Uniform in [0, 1], by the system's `rand`: the upper 15 of its bits over 32767, on every
/// platform. 1 can occur, though the density there is 0. Nothing is the same on two platforms; take
/// another generator where that matters.
///
/// Threads: the state is the process's, shared with all other users of `rand`.
template <class T>
class QV_TEMPLATE_API RnStdUniformRng final : public RnUnitRng<T> {
public:
    /// Leaves the system's state alone; restart() will seed it by 1, as a process begins.
    RnStdUniformRng();
    /// Calls `srand( seed )`.
    explicit RnStdUniformRng( unsigned int seed );

    T operator()() override;
    void getSequence( unsigned int n, T* values ) override;

    /// Calls `srand` with the stored seed.
    void restart() override;
    /// "Std OS-specific generator"
    char const* getName() const override;

    /// Goes on as if `n` values had been taken, in a time that grows with `n`.
    void skip( std::uint64_t n );

private:
    unsigned int _seed;
};

extern template class RnStdUniformRng<float>;
extern template class RnStdUniformRng<double>;

} // namespace Qv
