#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace Qv {

/// The Niederreiter sequence of four dimensions in base 2 (Bratley, Fox, Niederreiter, ACM TOMACS
/// 2, 1992). Its first 4096 points are skipped. Of 2^m points from an index that is a multiple of
/// 2^m, each elementary box of volume 2^(3-m) holds eight.
///
/// Counter: 32 bits wide, as is the index `counter` + 4096; behind the end all begins anew.
/// Float:   a value that rounds to 1 is the largest number below 1.
template <class T>
class QV_TEMPLATE_API RnNiederreiterMultiRng final : public RnUnitMultiRng<T, 4> {
public:
    RnNiederreiterMultiRng();

    void getSample( T* values ) override;
    /// Several times as fast as single points.
    void getSequence( unsigned int n, T* const* values ) override;

    void restart() override;
    /// "Niederreiter"
    char const* getName() const override;

    /// What setState() needs to go on from here: the name and whole numbers, the same for float and
    /// double.
    std::string getState() const;
    /// Raises RnEx::ExBadState, and changes nothing, if `text` isn't a whole state of this kind.
    void setState( std::string_view text );
    /// Goes on as if `n` points had been taken, in constant time.
    void skip( std::uint64_t n );

private:
    void moveTo( std::uint32_t counter );

    std::uint32_t _counter;
    // The coordinates of the next point, times 2^31.
    std::array<std::uint32_t, 4> _next;
};

extern template class RnNiederreiterMultiRng<float>;
extern template class RnNiederreiterMultiRng<double>;

} // namespace Qv
