#pragma once

namespace Qv::Comp {

/// The soft matte of a layer that brings no alpha of its own.
///
/// The first layer fills the frame and fades out at the border. Each later one covers the frame
/// from a slanted soft edge to the right; the edges lie evenly, so that of each layer a stripe
/// stays to be seen.
class Matte {
public:
    /// `layer` of `layers`, counted from the bottom.
    Matte( int layer, int layers, int width, int height );

    /// Alpha of the pixel `x`, `y` of the frame.
    float at( int x, int y ) const noexcept;

private:
    float getVignette( float x, float y ) const noexcept;

    bool _isBottom;
    float _edge;
    float _feather;
    float _width;
    float _height;
};

} // namespace Qv::Comp
