#pragma once

#include <tools/qvcomp/descriptor.h>
#include <tools/qvcomp/fileId.h>

#include <resmgt/osal/osFilePath.h>

#include <array>
#include <cstdint>
#include <memory>

#include <ImfIO.h>

namespace Qv::Comp {

/// OpenEXR's way to the bytes of a layer: one open file, whatever becomes of its name.
///
/// Errors: the constructor raises Failure when there is no plain file that isn't empty and may be
///         read. Reading raises what OpenEXR raises.
class LayerStream : public Imf::IStream {
public:
    explicit LayerStream( const OsFilePath& path );
    /// The same open file, read by another thread.
    LayerStream( const LayerStream& other );

    const FileId& getId() const noexcept { return _id; }
    /// In bytes, when it was opened.
    std::uint64_t getLength() const noexcept { return _length; }

    bool read( char* bytes, int count ) override;
    std::uint64_t tellg() override { return _position; }
    void seekg( std::uint64_t position ) override { _position = position; }

private:
    void readAt( std::uint64_t position, char* bytes, std::size_t count );

    std::shared_ptr<const Descriptor> _file;
    FileId _id;
    std::uint64_t _length;
    std::uint64_t _position = 0;
    /// Heads are read byte by byte. The bytes of the file from `_bufferBegin` on.
    std::array<char, 4096> _buffer;
    std::uint64_t _bufferBegin = 0;
    std::size_t _buffered = 0;
};

} // namespace Qv::Comp
