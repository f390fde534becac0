#pragma once

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/interrupt.h>
#include <tools/qvcomp/layerFile.h>
#include <tools/qvcomp/layerHead.h>
#include <tools/qvcomp/layerStream.h>

#include <ImfHeader.h>
#include <ImfMultiPartInputFile.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>

namespace Qv::Comp {

/// So much of an image is held at a time beside the plane that it goes to; more only costs memory.
inline constexpr std::uint64_t BLOCK_BYTES = std::uint64_t{ 1 } << 20;
inline constexpr std::uint64_t PIXEL_BYTES = CHANNELS * sizeof( float );

/// How many of `count` pieces of so many pixels fit a block, at least 1.
inline int countAtOnce( std::uint64_t pixels, int count ) noexcept {
    const std::uint64_t fitting = BLOCK_BYTES / PIXEL_BYTES / pixels;
    return static_cast<int>(
        std::clamp<std::uint64_t>( fitting, 1, static_cast<std::uint64_t>( count ) ) );
}

/// How the pixels of an image of `width` by `height` lie in its file.
struct Layout {
    Layout( const Imf::Header& header, int width, int height );

    bool operator==( const Layout& ) const = default;

    std::uint64_t countChunks() const noexcept {
        return static_cast<std::uint64_t>( columns ) * static_cast<std::uint64_t>( rows );
    }
    std::uint64_t countChunkPixels() const noexcept {
        return static_cast<std::uint64_t>( chunkWidth ) * static_cast<std::uint64_t>( chunkHeight );
    }

    bool isTiled;
    int chunkWidth;
    int chunkHeight;
    int columns;
    int rows;
};

/// A layer's file, open to be read by one thread.
///
/// Errors: Failure, and what OpenEXR raises: to be made and used in guardReading.
class LayerImage {
public:
    /// The head is gone through before OpenEXR reads it, and the table of chunks after that: a file
    /// that is cut short is found here.
    LayerImage( const OsFilePath& path, const LayerStream& stream, const CheckHead& checkHead );

    const LayerInfo& getInfo() const noexcept { return _info; }
    const Layout& getLayout() const noexcept { return _layout; }
    bool isGrey() const noexcept { return _isGrey; }
    /// Of the data window.
    const Imath::V2i& getCorner() const { return _file.header( 0 ).dataWindow().min; }
    Imf::MultiPartInputFile& getFile() noexcept { return _file; }

private:
    LayerStream _stream;
    HeadFacts _head;
    Imf::MultiPartInputFile _file;
    LayerInfo _info;
    bool _isGrey;
    Layout _layout;
};

/// Runs `read` and turns what OpenEXR raises into one sentence. The file is named as text: a path
/// fills a cache when it prints itself, which threads mustn't do at once.
template <class Read>
auto guardReading( const LayerStream& file, const Read& read ) {
    try {
        return read();
    } catch( const Failure& ) {
        throw;
    } catch( const std::bad_alloc& ) {
        throw Failure( Tag::LAYER_HUGE, file.fileName() );
    } catch( const std::exception& e ) {
        InterruptNote::check();
        std::string text = e.what();
        // OpenEXR's texts are sentences of their own.
        while( !text.empty() && ( text.back() == '.' || text.back() == '\n' ) ) {
            text.pop_back();
        }
        throw Failure( Tag::LAYER_DAMAGED, file.fileName(), text );
    }
}

} // namespace Qv::Comp
