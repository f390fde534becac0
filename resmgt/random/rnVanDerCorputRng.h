#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// The radical inverse of 1, 2, 3, ...: the digits of the index in a base, mirrored at the point.
/// In base 2 that is 0.5, 0.25, 0.75, 0.125, ...
///
/// Counter:  32 bits wide; behind 2^32 - 1 comes the index 0, whose value is 0.
/// Rounding: where the sum of the digits rounds to 1 or above, the value is the largest number
///           below 1.
/// Errors:   a base below 2 is an assertion.
template <class T>
class QV_TEMPLATE_API RnVanDerCorputRng final : public RnUnitRng<T> {
public:
    /// In base 2.
    RnVanDerCorputRng();
    explicit RnVanDerCorputRng( unsigned int base );

    T operator()() override;
    void getSequence( unsigned int n, T* values ) override;

    unsigned int getBase() const;
    /// Goes on in another base, from the same counter.
    void setBase( unsigned int base );
    /// How many values have been taken, modulo 2^32.
    std::uint32_t getCounter() const;

    void restart() override;
    /// Sets the counter: the next value is that of the index `counter` + 1.
    void restart( unsigned int counter );
    /// "Van der Corput"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` values had been taken, in constant time.
    void skip( std::uint64_t n );

private:
    T next();

    std::uint32_t _base;
    T _reciprocal;
    std::uint32_t _counter = 0;
};

extern template class RnVanDerCorputRng<float>;
extern template class RnVanDerCorputRng<double>;

} // namespace Qv
