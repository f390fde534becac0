#pragma once

#include <resmgt/content/ctSerialId.h>

namespace Qv {

/// A stored block as a whole. Its size is in bytes and has no part in comparisons.
class QV_RESMGT_API CtStTileId {
public:
    constexpr CtStTileId() noexcept = default;
    constexpr explicit CtStTileId( CtSerialId id, unsigned int size = 0 ) noexcept
        : _id( id )
        , _size( size ) {}

    constexpr CtSerialId getSerialId() const noexcept { return _id; }
    constexpr unsigned int getSize() const noexcept { return _size; }

    /// Whether both are of the same content.
    constexpr bool equal( const CtStTileId& other ) const noexcept { return _id == other._id; }
    /// The order of the numbers.
    constexpr bool less( const CtStTileId& other ) const noexcept { return _id < other._id; }
    /// As "Storage tile id: 0000000012-0000000345, size = 65536", without an end of the line.
    void dump( std::ostream& stream ) const;

private:
    CtSerialId _id;
    unsigned int _size = 0;
};

/// A piece of a stored block, in bytes. Two pieces are the same when block and offset are; they are
/// ordered by block, then by offset.
class QV_RESMGT_API CtPxTileId {
public:
    constexpr CtPxTileId() noexcept = default;
    constexpr CtPxTileId( CtSerialId id, unsigned int offset, unsigned int size ) noexcept
        : _id( id )
        , _offset( offset )
        , _size( size ) {}

    constexpr CtSerialId getSerialId() const noexcept { return _id; }
    constexpr unsigned int getOffset() const noexcept { return _offset; }
    constexpr unsigned int getSize() const noexcept { return _size; }

    /// Whether both are the same part of the same content.
    constexpr bool equal( const CtPxTileId& other ) const noexcept {
        return _id == other._id && _offset == other._offset;
    }
    /// The order of the numbers, then of the offsets.
    constexpr bool less( const CtPxTileId& other ) const noexcept {
        return _id == other._id ? _offset < other._offset : _id < other._id;
    }
    /// As "Processing tile id: 0000000012-0000000345, offset = 0, size = 65536".
    void dump( std::ostream& stream ) const;

private:
    CtSerialId _id;
    unsigned int _offset = 0;
    unsigned int _size = 0;
};

} // namespace Qv
