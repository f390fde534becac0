#include <tools/qvcomp/layerReader.h>

#include <tools/qvcomp/layerImage.h>
#include <tools/qvcomp/pixelMath.h>
#include <tools/qvcomp/tileSum.h>

#include <ImfFrameBuffer.h>
#include <ImfInputPart.h>
#include <ImfTiledInputPart.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace Qv::Comp {

namespace {

float sanitise( float value ) noexcept {
    return std::isnan( value ) ? 0.0F : std::clamp( value, -LARGEST_HALF, LARGEST_HALF );
}

void checkUnchanged( const LayerStream& file, const LayerInfo& layer, const LayerInfo& now ) {
    if( now.width != layer.width || now.height != layer.height || now.hasAlpha != layer.hasAlpha ||
        now.display != layer.display || now.pixelAspect != layer.pixelAspect ||
        now.part.width != layer.part.width || now.part.height != layer.part.height ||
        now.readingMemory > layer.readingMemory ) {
        throw Failure( Tag::LAYER_CHANGED, file.fileName() );
    }
}

/// Pixels of a part of the image, read at once.
class Block {
public:
    Block( const LayerImage& image, int width, int height )
        : _corner( image.getCorner() )
        , _isGrey( image.isGrey() )
        , _pixels( std::make_unique_for_overwrite<float[]>(
              toFloats( width ) * static_cast<std::size_t>( height ) ) ) {}

    /// Where the pixels of `area` are to be put.
    Imf::FrameBuffer makeBuffer( const PixelArea& area ) {
        _area = area;
        const Imath::V2i corner( _corner.x + area.x0, _corner.y + area.y0 );
        constexpr std::array<const char*, CHANNELS> NAMES{ "R", "G", "B", "A" };
        Imf::FrameBuffer buffer;
        for( std::size_t c = 0; c < CHANNELS; ++c ) {
            buffer.insert( _isGrey && c == 0 ? "Y" : NAMES[c],
                           Imf::Slice::Make( Imf::FLOAT, &_pixels[c], corner, area.getWidth(),
                                             area.getHeight(), PIXEL_BYTES,
                                             toFloats( area.getWidth() ) * sizeof( float ), 1, 1,
                                             1.0 ) );
        }
        return buffer;
    }

    /// Copies the wanted pixels into the tiles that they belong to.
    void store( TilePlane& plane, const PixelArea& wanted ) {
        clean();
        const PixelArea area = intersect( _area, wanted );
        for( const TileRef& tile : listAreaInputs( plane, area ) ) {
            storeTile( plane.write( tile.pos ), area );
        }
    }

private:
    void clean() {
        const std::size_t count =
            toFloats( _area.getWidth() ) * static_cast<std::size_t>( _area.getHeight() );
        for( std::size_t i = 0; i < count; i += CHANNELS ) {
            if( _isGrey ) {
                _pixels[i + 1] = _pixels[i + 2] = _pixels[i];
            }
            for( std::size_t c = 0; c < 3; ++c ) {
                _pixels[i + c] = sanitise( _pixels[i + c] );
            }
            _pixels[i + 3] = std::clamp( sanitise( _pixels[i + 3] ), 0.0F, 1.0F );
        }
    }

    void storeTile( const TileWriter& tile, const PixelArea& area ) const {
        const PixelArea to = intersect( tile.getArea(), area );
        for( int y = to.y0; y < to.y1; ++y ) {
            const std::size_t line =
                static_cast<std::size_t>( y - _area.y0 ) * toFloats( _area.getWidth() );
            std::copy_n( &_pixels[line + toFloats( to.x0 - _area.x0 )], toFloats( to.getWidth() ),
                         tile.at( to.x0, y ) );
        }
    }

    const Imath::V2i _corner;
    bool _isGrey;
    PixelArea _area{};
    /// Not touched before OpenEXR has found the pixels.
    std::unique_ptr<float[]> _pixels;
};

} // namespace

class LayerDecoder {
public:
    LayerDecoder( const LayerInfo& layer, const LayerStream& file )
        : _file( file )
        , _image( layer.path, file, [&]( std::uint64_t bytes ) { checkHead( layer, bytes ); } )
        , _blockLines( countBlockLines( _image.getLayout(), layer.part.height ) )
        , _block( _image, layer.part.width, _blockLines ) {
        checkUnchanged( file, layer, _image.getInfo() );
        if( getLayout().isTiled ) {
            _tiles.emplace( _image.getFile(), 0 );
        } else {
            _lines.emplace( _image.getFile(), 0 );
        }
    }

    const Layout& getLayout() const noexcept { return _image.getLayout(); }

    /// `area` is one of whole chunks.
    void read( const PixelArea& area, TilePlane& plane, const PixelArea& wanted ) {
        for( int y = area.y0; y < area.y1; y += _blockLines ) {
            const PixelArea block{ area.x0, y, area.x1, std::min( y + _blockLines, area.y1 ) };
            guardReading( _file, [&] { readBlock( block ); } );
            _block.store( plane, wanted );
        }
    }

private:
    void checkHead( const LayerInfo& layer, std::uint64_t bytes ) const {
        if( bytes > layer.readingMemory ) {
            throw Failure( Tag::LAYER_CHANGED, _file.fileName() );
        }
    }

    /// OpenEXR keeps the chunk of lines that it has unpacked last, so that lines can be taken in
    /// smaller blocks.
    static int countBlockLines( const Layout& layout, int lines ) noexcept {
        return layout.isTiled
                   ? lines
                   : countAtOnce( static_cast<std::uint64_t>( layout.chunkWidth ), lines );
    }

    void readBlock( const PixelArea& area ) {
        const Layout& layout = getLayout();
        const Imf::FrameBuffer buffer = _block.makeBuffer( area );
        if( _tiles ) {
            _tiles->setFrameBuffer( buffer );
            _tiles->readTiles(
                area.x0 / layout.chunkWidth, divideUp( area.x1, layout.chunkWidth ) - 1,
                area.y0 / layout.chunkHeight, divideUp( area.y1, layout.chunkHeight ) - 1 );
        } else {
            const int top = _image.getCorner().y;
            _lines->setFrameBuffer( buffer );
            _lines->readPixels( top + area.y0, top + area.y1 - 1 );
        }
    }

    const LayerStream& _file;
    LayerImage _image;
    const int _blockLines;
    Block _block;
    std::optional<Imf::InputPart> _lines;
    std::optional<Imf::TiledInputPart> _tiles;
};

/// A decoder for the time of one part.
class LayerReader::DecoderUse {
public:
    explicit DecoderUse( LayerReader& reader )
        : _pool( reader._pool )
        , _entry( _pool.take( reader ) ) {}
    DecoderUse( const DecoderUse& ) = delete;
    DecoderUse& operator=( const DecoderUse& ) = delete;
    ~DecoderUse() { _pool.putBack( std::move( _entry ) ); }

    LayerDecoder* operator->() const noexcept { return _entry.front().decoder.get(); }

private:
    DecoderPool& _pool;
    DecoderPool::Entries _entry;
};

DecoderPool::DecoderPool( std::uint64_t bytes )
    : _bytes( bytes ) {}

DecoderPool::~DecoderPool() = default;

DecoderPool::Entries DecoderPool::take( const LayerReader& reader ) {
    Entries entry = reserve( reader );
    if( !entry.front().decoder ) {
        try {
            entry.front().decoder = reader.makeDecoder();
        } catch( ... ) {
            release( entry.front().bytes );
            throw;
        }
    }
    return entry;
}

/// One of the reader's, or an entry with room for one that is to be made.
DecoderPool::Entries DecoderPool::reserve( const LayerReader& reader ) {
    Entries entry;
    const std::uint64_t bytes = reader._layer.readingMemory;
    Entries made;
    made.push_back( { &reader, bytes, nullptr } );
    std::unique_lock lock( _lock );
    while( !takeFree( reader, entry ) ) {
        if( _used == 0 || ( _used < _bytes && bytes <= _bytes - _used ) ) {
            _used += bytes;
            return made;
        }
        if( _free.empty() ) {
            _hasChanged.wait( lock );
        } else {
            _used -= _free.front().bytes;
            _free.pop_front();
        }
    }
    return entry;
}

bool DecoderPool::takeFree( const LayerReader& reader, Entries& entry ) noexcept {
    const auto place = std::find_if( _free.begin(), _free.end(),
                                     [&]( const Entry& free ) { return free.reader == &reader; } );
    if( place == _free.end() ) {
        return false;
    }
    entry.splice( entry.begin(), _free, place );
    return true;
}

void DecoderPool::putBack( Entries used ) noexcept {
    {
        const std::lock_guard guard( _lock );
        _free.splice( _free.end(), used );
    }
    _hasChanged.notify_all();
}

void DecoderPool::release( std::uint64_t bytes ) noexcept {
    {
        const std::lock_guard guard( _lock );
        _used -= bytes;
    }
    _hasChanged.notify_all();
}

void DecoderPool::drop( const LayerReader& reader ) noexcept {
    Entries dropped;
    const std::lock_guard guard( _lock );
    while( takeFree( reader, dropped ) ) {
        _used -= dropped.front().bytes;
    }
}

LayerReader::LayerReader( const LayerInfo& layer, const PixelArea& wanted, TileStore& store,
                          DecoderPool& pool )
    : _layer( layer )
    , _wanted( wanted )
    , _file( std::make_unique<const LayerStream>( layer.path ) )
    , _pool( pool ) {
    const std::string name = layer.path.getBaseName( OsFilePath::WITH_EXTENSION ).toString();
    _plane = store.createPlane( name + " source", layer.width, layer.height );
    // A file that has changed is found before any work is done.
    DecoderUse( *this );
}

LayerReader::~LayerReader() {
    _pool.drop( *this );
}

std::vector<TilePos> LayerReader::takeParts( int y0, int y1 ) {
    std::vector<TilePos> parts;
    const PixelArea places = getParts( { _wanted.x0, y0, _wanted.x1, y1 } );
    for( _nextRow = std::max( _nextRow, places.y0 ); _nextRow < places.y1; ++_nextRow ) {
        for( int column = places.x0; column < places.x1; ++column ) {
            parts.push_back( { column, _nextRow } );
        }
    }
    return parts;
}

std::size_t LayerReader::countParts() const noexcept {
    const PixelArea places = getParts( _wanted );
    return static_cast<std::size_t>( places.getWidth() ) *
           static_cast<std::size_t>( places.getHeight() );
}

void LayerReader::read( TilePos part ) {
    DecoderUse( *this )->read( getArea( part ), *_plane, _wanted );
}

void LayerReader::discardAbove( int y ) {
    for( ; _discardedRows < _plane->getRows() && _plane->getArea( { 0, _discardedRows } ).y1 <= y;
         ++_discardedRows ) {
        for( int column = 0; column < _plane->getColumns(); ++column ) {
            _plane->discard( { column, _discardedRows } );
        }
    }
}

std::unique_ptr<LayerDecoder> LayerReader::makeDecoder() const {
    return guardReading( *_file, [&] { return std::make_unique<LayerDecoder>( _layer, *_file ); } );
}

/// The columns and rows of the parts that have pixels of `area`.
PixelArea LayerReader::getParts( const PixelArea& area ) const noexcept {
    const TileSize& part = _layer.part;
    return { area.x0 / part.width, area.y0 / part.height, divideUp( area.x1, part.width ),
             divideUp( area.y1, part.height ) };
}

PixelArea LayerReader::getArea( TilePos part ) const noexcept {
    const int x = part.column * _layer.part.width;
    const int y = part.row * _layer.part.height;
    return { x, y, std::min( x + _layer.part.width, _layer.width ),
             std::min( y + _layer.part.height, _layer.height ) };
}

} // namespace Qv::Comp
