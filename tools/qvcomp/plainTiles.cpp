#include <tools/qvcomp/plainTiles.h>

#include <tools/qvcomp/pixelMath.h>

#include <mutex>

namespace Qv::Comp {

namespace {

class PlainPlane : public TilePlane {
public:
    PlainPlane( int width, int height, TileSize tile )
        : TilePlane( width, height, tile )
        , _tiles( getTileCount() ) {}

private:
    std::shared_ptr<const float> performRead( std::size_t index ) override {
        return performWrite( index );
    }

    std::shared_ptr<float> performWrite( std::size_t index ) override {
        const std::lock_guard guard( _lock );
        auto& tile = _tiles[index];
        if( tile.empty() ) {
            tile.resize( toFloats( getTile().width ) *
                         static_cast<std::size_t>( getTile().height ) );
        }
        return { std::shared_ptr<float>(), tile.data() };
    }

    void performPrefetch( std::size_t ) override {}
    void performFinish( std::size_t ) override {}
    void performDiscard( std::size_t index ) override { _tiles[index] = {}; }

    // Several may come to write a tile that isn't there yet.
    std::mutex _lock;
    std::vector<std::vector<float>> _tiles;
};

} // namespace

std::unique_ptr<TilePlane> PlainTiles::createPlane( const std::string&, int width, int height ) {
    return std::make_unique<PlainPlane>( width, height, getTileSize( _tileSide, width ) );
}

} // namespace Qv::Comp
