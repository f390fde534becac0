#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <iosfwd>

namespace Qv {

/// The permitted addresses of a buffer: address bits that must be zero, and address bits that must
/// have a given pattern, as for a place inside a page or a cache set.
///
/// Bits:    with the alignment mask A, the offset mask O and the pattern P, an address `x` is right
///          when `x & A` is 0 and `x & O` is `P & O & ~A`. Where both masks cover a bit, zero wins.
/// Errors:  a mask that isn't a power of two minus one (0 and all ones are) raises
///          MbEx::ExInvalidArgument. Nothing has changed after any error.
/// Threads: a plain value.
/// Cost:    rounding is a few operations on words, without a loop.
class QV_RESMGT_API MbAlignment {
public:
    /// The alignment mask is checked first, the pattern not at all.
    MbAlignment( unsigned long long alignmentMask, unsigned long long offsetMask,
                 unsigned long long offsetPattern );

    unsigned long long getAlignmentMask() const noexcept { return _alignmentMask; }
    unsigned long long getOffsetMask() const noexcept { return _offsetMask; }
    unsigned long long getOffsetPattern() const noexcept { return _offsetPattern; }
    void setAlignmentMask( unsigned long long mask );
    void setOffsetMask( unsigned long long mask );
    void setOffsetPattern( unsigned long long pattern ) noexcept { _offsetPattern = pattern; }

    /// The most bytes that rounding up adds to an address that is a multiple of `granularity`, a
    /// power of two.
    unsigned long long getRoundUpMax( unsigned long long granularity ) const;
    /// The same for rounding down.
    unsigned long long getRoundDownMax( unsigned long long granularity ) const;

    /// Takes the constraints of `other` as well. Raises MbEx::ExRangeError where both fix a bit
    /// differently. The patterns aren't merged: if the new offset mask is greater than that of
    /// `other` this one's pattern stays, otherwise that of `other` is taken.
    void compound( const MbAlignment& other );

    /// The three values in hexadecimal; leaves the stream's format as it was.
    void dump( std::ostream& stream ) const;

private:
    friend class MbBufferImp;
    friend class MbPoolManager;
    friend class MbHeapManager;
    friend class MbArenaManager;
    friend struct MbTestAccess;

    static void checkPow2Minus1( std::uint64_t value );

    /// The nearest right address at or above, or at or below, `address`. Raises MbEx::ExRangeError
    /// where the address space ends before it.
    std::uint64_t roundUpToAlignment( std::uint64_t address ) const;
    std::uint64_t roundDownToAlignment( std::uint64_t address ) const;
    bool isAligned( std::uint64_t address ) const noexcept {
        return ( address & _alignmentMask ) == 0 && ( address & _offsetMask ) == effectivePattern();
    }

    std::uint64_t effectivePattern() const noexcept {
        return _offsetPattern & _offsetMask & ~_alignmentMask;
    }
    std::uint64_t allMasks() const noexcept { return _offsetMask | _alignmentMask; }

    std::uint64_t _alignmentMask;
    std::uint64_t _offsetMask;
    std::uint64_t _offsetPattern;
};

} // namespace Qv
