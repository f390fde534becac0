#pragma once

#include <resmgt/random/rnUnitRng.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Qv {

/// Gives the points of a generator of two dimensions as pairs: what RnHaltonBiRng and
/// RnHammersleyBiRng have in common. All operations go to the generator.
template <class T, class Multi>
class QV_TEMPLATE_API RnPairRng : public RnUnitBiRng<T> {
public:
    void getSample( T& x, T& y ) override {
        T values[2];
        _multi.getSample( values );
        x = values[0];
        y = values[1];
    }
    void getSequence( unsigned int n, T* xs, T* ys ) override {
        T* const values[] = { xs, ys };
        _multi.getSequence( n, values );
    }

    void restart() override { _multi.restart(); }
    char const* getName() const override { return _multi.getName(); }

    /// As those of the generator.
    std::string getState() const { return _multi.getState(); }
    void setState( std::string_view text ) { _multi.setState( text ); }
    /// Goes on behind the next `n` pairs.
    void skip( std::uint64_t n ) { _multi.skip( n ); }

protected:
    explicit RnPairRng( Multi multi )
        : _multi( std::move( multi ) ) {}

    /// What the pairs come from.
    Multi _multi;
};

} // namespace Qv
