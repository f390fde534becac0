#pragma once

#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileStore.h>

#include <memory>

namespace Qv::Comp {

/// A thread's own memory for the pixels of one area at a time, which look like those of a tile.
/// What `get` has returned is to be used before the next call, and as long as this lives.
class AreaMemory {
public:
    AreaMemory( int width, int height )
        : _pixels( std::make_unique_for_overwrite<float[]>(
              toFloats( width ) * static_cast<std::size_t>( height ) ) ) {}

    TileWriter get( const PixelArea& area ) const {
        return { area, area.getWidth(),
                 std::shared_ptr<float>( std::shared_ptr<void>(), _pixels.get() ) };
    }

    TileWriter getZeros( const PixelArea& area ) const {
        const TileWriter pixels = get( area );
        clear( pixels );
        return pixels;
    }

private:
    std::unique_ptr<float[]> _pixels;
};

inline TileReader toReader( const TileWriter& pixels ) {
    const PixelArea& area = pixels.getArea();
    return { area, static_cast<int>( pixels.getLineFloats() / CHANNELS ),
             std::shared_ptr<float>( std::shared_ptr<void>(), pixels.at( area.x0, area.y0 ) ) };
}

} // namespace Qv::Comp
