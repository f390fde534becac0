#pragma once

#include <base/qvBaseApi.h>
#include <base/values/rational.h>

namespace Qv {

/// The components of a pixel, and its shape.
class QV_BASE_API IxPixelFormat {
public:
    /// The components of a pixel, and how many they are.
    enum Comps : int { ALPHA = 1, RGB = 3, RGBA = 4 };
    /// In bits of a component.
    enum Depth : int { UINT8 = 8, FLOAT16 = 16, FLOAT32 = 32, COMPLEX = 64 };

    /// `aspectRatio` is the width of a pixel by its height. Errors: what isn't among those above,
    /// and a ratio that isn't a positive number, is an assertion.
    IxPixelFormat( Comps comps, Depth depth, const Rational& aspectRatio = { 1, 1 } );

    Comps getComps() const noexcept { return _comps; }
    Depth getDepth() const noexcept { return _depth; }
    const Rational& getAspectRatio() const noexcept { return _aspectRatio; }

    bool operator==( const IxPixelFormat& ) const = default;

private:
    Comps _comps;
    Depth _depth;
    Rational _aspectRatio;
};

} // namespace Qv
