#pragma once

#include <resmgt/random/rnUnitRng.h>
#include <resmgt/random/rnVanDerCorputRng.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// A Hammersley set, `length` points: dimension 0 is ( index + 0.5 ) / length, so that no point
/// lies on the cube's edge; the others are Van der Corput sequences, by default in the bases 2,
/// 3, 5. After `length` single points the index goes back to 0, while the other dimensions go on.
///
/// Rounding: a value that rounds to 1, as in float those at the end of long sets, is the largest
///           number below 1.
/// Errors:   a length of 0 and a base below 2 are assertions.
template <class T, unsigned int N>
class QV_TEMPLATE_API RnHammersleyMultiRng final : public RnUnitMultiRng<T, N> {
public:
    explicit RnHammersleyMultiRng( unsigned int length );
    /// `bases` are the `N` - 1 numbers of the dimensions 1 and up, which are copied.
    RnHammersleyMultiRng( unsigned int length, unsigned int const* bases );

    void getSample( T* values ) override;
    /// Dimension 0 begins at the index 0, whatever the index of single points is, and leaves that
    /// as it is; the others go on. Asserts that `n` isn't above the length.
    void getSequence( unsigned int n, T* const* values ) override;

    void restart() override;
    /// "Hammersley"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` single points had been taken, in constant time.
    void skip( std::uint64_t n );

private:
    T getFirst( std::uint32_t index ) const;

    std::uint32_t _length;
    std::uint32_t _index = 0;
    std::array<RnVanDerCorputRng<T>, N - 1> _others;
};

extern template class RnHammersleyMultiRng<float, 2>;
extern template class RnHammersleyMultiRng<double, 2>;
extern template class RnHammersleyMultiRng<float, 3>;
extern template class RnHammersleyMultiRng<double, 3>;
extern template class RnHammersleyMultiRng<float, 4>;
extern template class RnHammersleyMultiRng<double, 4>;

} // namespace Qv
