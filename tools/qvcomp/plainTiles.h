#pragma once

#include <tools/qvcomp/tileStore.h>

namespace Qv::Comp {

/// Tiles in plain memory, without a limit; against them `--verify` holds the managed ones.
class PlainTiles : public TileStore {
public:
    explicit PlainTiles( int tileSide )
        : _tileSide( tileSide ) {}

    std::unique_ptr<TilePlane> createPlane( const std::string& name, int width,
                                            int height ) override;
    std::size_t getPrefetchDepth() const override { return 0; }

private:
    int _tileSide;
};

} // namespace Qv::Comp
