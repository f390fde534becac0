#include <resmgt/memoryBuffers/mbAlignment.h>

#include <base/failure/qvHere.h>
#include <resmgt/memoryBuffers/mbEx.h>

#include <ios>
#include <ostream>

namespace Qv {

MbAlignment::MbAlignment( unsigned long long alignmentMask, unsigned long long offsetMask,
                          unsigned long long offsetPattern )
    : _alignmentMask( alignmentMask )
    , _offsetMask( offsetMask )
    , _offsetPattern( offsetPattern ) {
    checkPow2Minus1( alignmentMask );
    checkPow2Minus1( offsetMask );
}

void MbAlignment::setAlignmentMask( unsigned long long mask ) {
    checkPow2Minus1( mask );
    _alignmentMask = mask;
}

void MbAlignment::setOffsetMask( unsigned long long mask ) {
    checkPow2Minus1( mask );
    _offsetMask = mask;
}

void MbAlignment::checkPow2Minus1( std::uint64_t value ) {
    if( ( value & ( value + 1 ) ) != 0 ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Argument is not a power of 2 minus 1" );
    }
}

namespace {

void checkNotZero( unsigned long long granularity ) {
    if( granularity == 0 ) {
        throw MbEx::ExInvalidArgument( QV_HERE, "Zero is not a power of two" );
    }
}

} // namespace

std::uint64_t MbAlignment::roundUpToAlignment( std::uint64_t address ) const {
    const std::uint64_t here = ( address & ~allMasks() ) | effectivePattern();
    if( here >= address ) {
        return here;
    }
    const std::uint64_t next = allMasks() + here + 1;
    if( next < address ) {
        throw MbEx::ExRangeError( QV_HERE, "Can't roundUpToAlignment() because of wrap-around" );
    }
    return next;
}

std::uint64_t MbAlignment::roundDownToAlignment( std::uint64_t address ) const {
    const std::uint64_t here = ( address & ~allMasks() ) | effectivePattern();
    if( here <= address ) {
        return here;
    }
    const std::uint64_t previous = here - allMasks() - 1;
    if( previous > address ) {
        throw MbEx::ExRangeError( QV_HERE, "Can't roundDownToAlignment() because of wrap-around" );
    }
    return previous;
}

unsigned long long MbAlignment::getRoundUpMax( unsigned long long granularity ) const {
    checkNotZero( granularity );
    checkPow2Minus1( granularity - 1 );
    return ( allMasks() & ( 0 - granularity ) ) | effectivePattern();
}

unsigned long long MbAlignment::getRoundDownMax( unsigned long long granularity ) const {
    checkNotZero( granularity );
    checkPow2Minus1( granularity - 1 );
    return allMasks() & ( ( allMasks() - effectivePattern() + 1 ) | ( 0 - granularity ) );
}

void MbAlignment::compound( const MbAlignment& other ) {
    const std::uint64_t alignmentMask = _alignmentMask | other._alignmentMask;
    const std::uint64_t common = _offsetMask & other._offsetMask & ~alignmentMask;
    if( ( _offsetPattern & common ) != ( other._offsetPattern & common ) ) {
        throw MbEx::ExRangeError( QV_HERE, "Incompatible offsets." );
    }
    _alignmentMask = alignmentMask;
    _offsetMask |= other._offsetMask;
    if( _offsetMask <= other._offsetMask ) {
        _offsetPattern = other._offsetPattern;
    }
}

void MbAlignment::dump( std::ostream& stream ) const {
    const std::ios_base::fmtflags flags = stream.flags();
    stream << std::hex << "Alignment mask: " << _alignmentMask << " Offset mask: " << _offsetMask
           << " Offset pattern: " << _offsetPattern << '\n';
    stream.flags( flags );
}

} // namespace Qv
