#include <tools/qvcomp/plainTiles.h>

namespace Qv::Comp {

namespace {

class PlainPlane : public TilePlane {
public:
    PlainPlane( int width, int height, int tileSide )
        : TilePlane( width, height, tileSide )
        , _tiles( getTileCount() ) {}

private:
    std::shared_ptr<const float> performRead( std::size_t index ) override {
        return performWrite( index );
    }

    std::shared_ptr<float> performWrite( std::size_t index ) override {
        auto& tile = _tiles[index];
        if( tile.empty() ) {
            const auto side = static_cast<std::size_t>( getTileSide() );
            tile.resize( side * side * CHANNELS );
        }
        return { std::shared_ptr<float>(), tile.data() };
    }

    void performPrefetch( std::size_t ) override {}
    void performFinish( std::size_t ) override {}
    void performDiscard( std::size_t index ) override { _tiles[index] = {}; }

    std::vector<std::vector<float>> _tiles;
};

} // namespace

std::unique_ptr<TilePlane> PlainTiles::createPlane( const std::string&, int width, int height ) {
    return std::make_unique<PlainPlane>( width, height, _tileSide );
}

} // namespace Qv::Comp
