#pragma once

#include <tools/qvcomp/layerImage.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace Qv::Comp {

/// Reads a layer's image into a plane, in parts: whole chunks of the file, as many side by side and
/// rows of them as fit a block. Each chunk is unpacked once.
///
/// Values that are no number become 0, those beyond the range of a half float its ends; missing
/// alpha is 1, alpha lies in 0 to 1.
///
/// Threads: `read` from any thread, for different parts at once: as many as there are decoders, the
///          others wait for one. All else on one thread.
/// Memory:  LayerInfo::readingMemory for each decoder, which is made when it is needed, beside the
///          plane's tiles. `read` has access to one tile at a time.
/// Errors:  as for probeLayer, also when the file has changed since. What is damaged inside of a
///          chunk is found when its part is read.
class LayerReader {
public:
    LayerReader( const LayerInfo& layer, TileStore& store, int nbDecoders );
    LayerReader( const LayerReader& ) = delete;
    LayerReader& operator=( const LayerReader& ) = delete;
    ~LayerReader();

    TilePlane& getPlane() noexcept { return *_plane; }

    /// Column and row of each part that has some of the lines from `y0` up to, not including, `y1`,
    /// and that wasn't taken before. Neither line ever goes up the image.
    std::vector<TilePos> takeParts( int y0, int y1 );
    /// Brings in a part that was taken, once.
    void read( TilePos part );
    /// Gives up the tiles that have no line from `y` on. REQUIRES: nobody uses them any more.
    void discardAbove( int y );

private:
    class Decoder;
    class DecoderUse;

    std::unique_ptr<Decoder> makeDecoder() const;
    std::unique_ptr<Decoder> takeDecoder();
    void putBack( std::unique_ptr<Decoder> decoder ) noexcept;
    PixelArea getArea( TilePos part ) const noexcept;

    const LayerInfo _layer;
    const std::unique_ptr<const LayerStream> _file;
    std::mutex _lock;
    std::condition_variable _wasPutBack;
    /// Those that nobody uses, with room for all.
    std::vector<std::unique_ptr<Decoder>> _free;
    /// How many more may be made.
    int _nbToMake;

    std::unique_ptr<TilePlane> _plane;
    /// Of parts.
    int _columns;
    int _nextRow = 0;
    int _discardedRows = 0;
};

} // namespace Qv::Comp
