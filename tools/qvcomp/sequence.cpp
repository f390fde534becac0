#include <tools/qvcomp/sequence.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/fileId.h>
#include <tools/qvcomp/log.h>
#include <tools/qvcomp/pictureMaker.h>

#include <base/text/printable.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>

namespace Qv::Comp {

namespace {

/// The file that the path leads to; none where there is none, or it can't be asked.
std::optional<FileId> findFile( const OsFilePath& path ) {
    struct stat facts;
    return !path.isEmpty() && ::stat( path.getChars(), &facts ) == 0
               ? std::optional<FileId>( FileId( facts ) )
               : std::nullopt;
}

bool isMissing( const OsFilePath& path ) {
    struct stat facts;
    return ::stat( path.getChars(), &facts ) != 0 && ( errno == ENOENT || errno == ENOTDIR );
}

/// Files that mustn't be replaced, sorted: there may be many.
class FileSet {
public:
    void add( const OsFilePath& path ) {
        if( const auto file = findFile( path ) ) {
            _files.emplace_back( file->device, file->inode );
        }
    }
    void sort() {
        std::ranges::sort( _files );
        _files.erase( std::unique( _files.begin(), _files.end() ), _files.end() );
    }
    bool has( const OsFilePath& path ) const {
        const auto file = findFile( path );
        return file && std::ranges::binary_search( _files, std::pair( file->device, file->inode ) );
    }

private:
    std::vector<std::pair<dev_t, ino_t>> _files;
};

std::vector<int> listAllFrames( const FrameRange& range ) {
    std::vector<int> frames;
    for( int i = 0; i < range.getCount(); ++i ) {
        frames.push_back( range.at( i ) );
    }
    return frames;
}

/// Nothing that one frame is made of is lost to the picture of another; what a single frame has
/// to say is left to its turn.
class PlaceCheck {
public:
    explicit PlaceCheck( const Options& sequence )
        : _sequence( sequence )
        , _frames( listAllFrames( *sequence.frames ) ) {
        for( const NamedLayer& layer : sequence.layers ) {
            for( const int frame : listFramesOf( layer.path ) ) {
                _layers.add( OsFilePath( fillFrame( layer.path.toString(), frame ) ) );
            }
        }
        _layers.sort();
        for( const OsFilePath& job : sequence.jobs ) {
            _jobs.add( job );
        }
        _jobs.sort();
        if( !sequence.logFile.empty() ) {
            _log.add( OsFilePath( sequence.logFile ) );
        }
        checkLog();
    }

    void check() const {
        checkOutput( _sequence.writtenJob, false );
        for( const OsFilePath& path : { _sequence.output, _sequence.preview } ) {
            for( const int frame : listFramesOf( path ) ) {
                checkOutput( OsFilePath( fillFrame( path.toString(), frame ) ), true );
            }
        }
    }

private:
    void checkLog() const {
        if( !_sequence.logFile.empty() && _layers.has( OsFilePath( _sequence.logFile ) ) ) {
            throw UsageFailure( Tag::LOG_IS_OTHER, _sequence.logFile );
        }
    }

    void checkOutput( const OsFilePath& path, bool isPicture ) const {
        if( _layers.has( path ) ) {
            throw UsageFailure( Tag::OUTPUT_IS_LAYER, path.toString() );
        }
        if( isPicture && _jobs.has( path ) ) {
            throw UsageFailure( Tag::OUTPUT_IS_JOB, path.toString() );
        }
        if( isPicture && path == _sequence.writtenJob ) {
            throw UsageFailure( Tag::JOB_IS_OUTPUT );
        }
        if( _log.has( path ) ) {
            throw UsageFailure( Tag::LOG_IS_OTHER, _sequence.logFile );
        }
    }

    /// The first one for a name that is the same in all.
    std::span<const int> listFramesOf( const OsFilePath& path ) const {
        const bool hasPlace = hasFramePlace( path.toString() );
        return std::span( _frames ).first( path.isEmpty() ? 0 : hasPlace ? _frames.size() : 1 );
    }

    const Options& _sequence;
    const std::vector<int> _frames;
    FileSet _layers;
    FileSet _jobs;
    FileSet _log;
};

/// Whether the other frames can be made all the same.
bool isOfFrame( Tag tag ) {
    return isAboutLayer( tag ) || tag == Tag::LOCKED || tag == Tag::LOCK_LOST;
}

ProgressPart makePart( const std::vector<int>& frames, std::size_t index,
                       std::chrono::steady_clock::time_point begin ) {
    return { static_cast<int>( index ), static_cast<int>( frames.size() ),
             std::to_string( frames[index] ) + ": ", begin };
}

} // namespace

Sequence::Sequence( const Options& options, std::ostream* terminal, OnReport onReport )
    : _options( options )
    , _terminal( terminal )
    , _onReport( std::move( onReport ) ) {}

std::vector<OsFilePath> Sequence::listLayers() const {
    if( !_options.frames ) {
        return getLayerPaths( _options );
    }
    std::vector<OsFilePath> paths;
    std::set<std::string> known;
    for( const int frame : listAllFrames( *_options.frames ) ) {
        for( const OsFilePath& path : getLayerPaths( getFrame( _options, frame ) ) ) {
            if( known.insert( path.toString() ).second ) {
                paths.push_back( path );
            }
        }
    }
    return paths;
}

void Sequence::make( std::span<const OsFilePath> changed ) {
    if( _options.frames ) {
        PlaceCheck( _options ).check();
        makeFrames( listFrames( changed ) );
    } else {
        _onReport( PictureMaker( _options, _terminal ).make( _options ) );
    }
}

std::vector<int> Sequence::listFrames( std::span<const OsFilePath> changed ) const {
    std::vector<int> frames = listAllFrames( *_options.frames );
    if( !changed.empty() ) {
        std::erase_if( frames, [&]( int frame ) {
            const std::vector<OsFilePath> paths = getLayerPaths( getFrame( _options, frame ) );
            return std::ranges::find_first_of( paths, changed ) == paths.end();
        } );
    }
    return frames;
}

std::set<int> Sequence::nameMissingLayers( const std::vector<int>& frames ) const {
    std::set<int> all;
    for( const NamedLayer& layer : _options.layers ) {
        const std::string name = layer.path.toString();
        std::vector<int> missing;
        std::ranges::copy_if( frames, std::back_inserter( missing ), [&]( int frame ) {
            return isMissing( OsFilePath( fillFrame( name, frame ) ) );
        } );
        if( !missing.empty() && !hasFramePlace( name ) ) {
            throw Failure( Tag::LAYER_MISSING, fillFrame( name, missing.front() ) );
        }
        if( !missing.empty() ) {
            makeWarning( Tag::FRAMES_MISSING, { Printable::makeLine( name ),
                                                describeFrames( missing, _options.frames->step ) } )
                .display();
            all.insert( missing.begin(), missing.end() );
        }
    }
    return all;
}

void Sequence::makeFrames( const std::vector<int>& frames ) {
    const auto begin = std::chrono::steady_clock::now();
    const std::set<int> named = nameMissingLayers( frames );
    PictureMaker maker( _options, _terminal );
    std::vector<int> unmade;
    for( std::size_t i = 0; i < frames.size(); ++i ) {
        const int frame = frames[i];
        Options options = getFrame( _options, frame );
        if( _isJobWritten ) {
            options.writtenJob = OsFilePath();
        }
        try {
            _onReport( maker.make( options, makePart( frames, i, begin ) ) );
            _isJobWritten = true;
        } catch( const Failure& e ) {
            if( !isOfFrame( e.getTag() ) ) {
                throw;
            }
            unmade.push_back( frame );
            QV_LOG( Qvcomp, Informational, "frame ", frame, " was not made: ", e.what() );
            if( e.getTag() != Tag::LAYER_MISSING || named.count( frame ) == 0 ) {
                makeMessage( Tag::FRAME_FAILED, { std::to_string( frame ), e.what() } ).display();
            }
        }
    }
    if( !unmade.empty() ) {
        throw Failure( Tag::FRAMES_UNMADE, unmade.size(), frames.size(),
                       describeFrames( unmade, _options.frames->step ) );
    }
}

} // namespace Qv::Comp
