#pragma once

#include <tools/qvcomp/layerImage.h>

#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

namespace Qv::Comp {

class LayerReader;

/// A layer's file, open to be read by one thread at a time.
class LayerDecoder;

/// The decoders of layers that are read at the same time. One is made when it is needed, and given
/// up when another layer needs its memory more.
///
/// Threads: any.
class DecoderPool {
public:
    /// `bytes` are what all of them take at most, unless one alone takes more.
    explicit DecoderPool( std::uint64_t bytes );
    DecoderPool( const DecoderPool& ) = delete;
    DecoderPool& operator=( const DecoderPool& ) = delete;
    ~DecoderPool();

private:
    friend class LayerReader;

    struct Entry {
        const LayerReader* reader;
        std::uint64_t bytes;
        std::unique_ptr<LayerDecoder> decoder;
    };
    /// A list, since entries change their place without memory.
    using Entries = std::list<Entry>;

    /// The reader's decoder, alone in the list. May wait for those who use one; they need no other,
    /// and put it back also when they fail.
    Entries take( const LayerReader& reader );
    void putBack( Entries used ) noexcept;
    /// Gives up those of the reader, which uses none.
    void drop( const LayerReader& reader ) noexcept;

    Entries reserve( const LayerReader& reader );
    bool takeFree( const LayerReader& reader, Entries& entry ) noexcept;
    void release( std::uint64_t bytes ) noexcept;

    const std::uint64_t _bytes;
    std::mutex _lock;
    std::condition_variable _hasChanged;
    /// Of those that are there or being made.
    std::uint64_t _used = 0;
    /// That nobody uses, the one that was used last at the end.
    Entries _free;
};

/// Reads what is wanted of a layer's image into a plane, in parts: whole chunks of the file, as
/// many side by side and rows of them as fit a block. Each chunk is unpacked once.
///
/// Values that are no number become 0, those beyond the range of a half float its ends; missing
/// alpha is 1, alpha lies in 0 to 1.
///
/// Threads: `read` from any thread, for different parts at once: as many as there is room for
///          decoders, the others wait for one. All else on one thread.
/// Memory:  LayerInfo::readingMemory for each decoder, beside the plane's tiles. `read` has access
///          to one tile at a time.
/// Errors:  as for probeLayer, also when the file has changed since. What is damaged inside of a
///          chunk is found when its part is read.
class LayerReader {
public:
    /// `wanted` are pixels of the image; the others have no content in the plane. `pool` outlives
    /// this object.
    LayerReader( const LayerInfo& layer, const PixelArea& wanted, TileStore& store,
                 DecoderPool& pool );
    LayerReader( const LayerReader& ) = delete;
    LayerReader& operator=( const LayerReader& ) = delete;
    ~LayerReader();

    TilePlane& getPlane() noexcept { return *_plane; }

    /// Column and row of each part that has wanted pixels of the lines from `y0` up to, not
    /// including, `y1`, and that wasn't taken before. Neither line ever goes up the image.
    std::vector<TilePos> takeParts( int y0, int y1 );
    /// With wanted pixels.
    std::size_t countParts() const noexcept;
    /// Brings in a part that was taken, once.
    void read( TilePos part );
    /// Gives up the tiles that have no line from `y` on. REQUIRES: nobody uses them any more.
    void discardAbove( int y );

private:
    friend class DecoderPool;
    class DecoderUse;

    std::unique_ptr<LayerDecoder> makeDecoder() const;
    PixelArea getParts( const PixelArea& area ) const noexcept;
    PixelArea getArea( TilePos part ) const noexcept;

    const LayerInfo _layer;
    const PixelArea _wanted;
    const std::unique_ptr<const LayerStream> _file;
    DecoderPool& _pool;
    std::unique_ptr<TilePlane> _plane;
    /// Of parts.
    int _nextRow = 0;
    int _discardedRows = 0;
};

} // namespace Qv::Comp
