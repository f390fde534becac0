#include <resmgt/xml/src/xmlParserSources.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileReader.h>

namespace Qv {

namespace {

/// What can't say where it stands, such as a pipe, can't be put back there either. Other failures
/// show again when it is read.
std::optional<long long> findPlace( OsFileReader& reader ) {
    try {
        return reader.seek( 0, OsFileTypes::FROM_CURRENT );
    } catch( const ExSysErrorWindows& ) {
        return std::nullopt;
    }
}

} // namespace

XmlFileSource::XmlFileSource( OsFileReader& reader, std::size_t bufferSize )
    : _reader( reader )
    , _bufferSize( bufferSize )
    , _buffer( std::make_unique_for_overwrite<char[]>( bufferSize ) )
    , _place( findPlace( reader ) ) {}

std::string_view XmlFileSource::getNext() {
    if( _place ) {
        _reader.seek( *_place, OsFileTypes::FROM_BEGINNING );
    }
    const std::size_t size = _reader.read( _buffer.get(), _bufferSize );
    if( _place ) {
        *_place += static_cast<long long>( size );
    }
    return { _buffer.get(), size };
}

std::string XmlFileSource::getName() const {
    return _reader.getPath().toString();
}

} // namespace Qv
