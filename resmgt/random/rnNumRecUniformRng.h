#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// Uniform in [0, 1), by a linear congruential generator whose values are shuffled through a table:
/// the method of Press et al., Numerical Recipes, with constants of its own. It can give 1771875
/// different values, and the same ones from a seed on every platform.
///
/// Errors: std::bad_alloc of the constructors and of copying.
template <class T>
class QV_TEMPLATE_API RnNumRecUniformRng : public RnUnitRng<T> {
public:
    /// With the seed 0.
    RnNumRecUniformRng();
    explicit RnNumRecUniformRng( unsigned int seed );
    // Moving would leave a generator without a table.
    RnNumRecUniformRng( const RnNumRecUniformRng& ) = default;
    RnNumRecUniformRng& operator=( const RnNumRecUniformRng& ) = default;

    T operator()() override;
    void getSequence( unsigned int n, T* values ) override;

    void restart() override;
    /// Goes to the first value of another seed, which it keeps.
    void restart( unsigned int seed );
    /// "Numerical Recipes RAN2"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` values had been taken, in a time that grows with `n`.
    void skip( std::uint64_t n );

private:
    std::uint32_t advance();
    std::uint32_t next();

    // The last value times 1771875.
    std::uint32_t _last;
    std::uint32_t _seed;
    std::uint32_t _idum;
    std::vector<std::uint32_t> _table;
};

extern template class RnNumRecUniformRng<float>;
extern template class RnNumRecUniformRng<double>;

} // namespace Qv
