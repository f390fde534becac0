#include <tools/qvcomp/options.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/optionValues.h>
#include <tools/qvcomp/qvcompPackage.h>

#include <base/text/ascii.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/threads/mtUtil.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <utility>

namespace Qv::Comp {

namespace {

using Arguments = std::span<const char* const>;

/// An option that takes a value; `apply` gets the option's name and the value.
struct ValueOption {
    std::string_view name;
    void ( *apply )( Options&, const std::string& name, const std::string& value );
    /// Whether it is of the layer that is named next, not of the whole.
    bool isOfLayer = false;
};

using Text = const std::string&;

constexpr std::string_view JOB_OPTION = "--job";
constexpr std::string_view WRITE_JOB_OPTION = "--write-job";

/// What can't stand in a job.
constexpr bool isAboutJobs( std::string_view name ) {
    return name == JOB_OPTION || name == WRITE_JOB_OPTION;
}

constexpr std::array<ValueOption, 28> VALUE_OPTIONS{ {
    { "--size", []( Options& o, Text, Text v ) { parseSize( v, o ); } },
    { "-o", []( Options& o, Text, Text v ) { o.output = toFile( v ); } },
    { "--frames", []( Options& o, Text, Text v ) { o.frames = parseFrameRange( v ); } },
    { "--operation",
      []( Options& o, Text n, Text v ) { o.next.operation = parseWord<Operation>( n, v ); }, true },
    { "--opacity",
      []( Options& o, Text n, Text v ) {
          o.next.opacity = static_cast<float>( parseDecimal( n, v, "0", "1" ) );
      },
      true },
    { "--offset", []( Options& o, Text n, Text v ) { parseOffset( n, v, o.next ); }, true },
    { "--fit", []( Options& o, Text n, Text v ) { o.fit = parseWord<Fit>( n, v ); } },
    { "--pixel-aspect",
      []( Options& o, Text n, Text v ) { o.pixelAspect = parseDecimal( n, v, "0.01", "100" ); } },
    { "--matte", []( Options& o, Text n, Text v ) { o.mattes = parseWord<Mattes>( n, v ); } },
    { "--glow", []( Options& o, Text n, Text v ) { o.glow = parseDecimal( n, v, "0", "100" ); } },
    { "--glow-radius",
      []( Options& o, Text n, Text v ) { o.glowRadius = parseGlowRadius( n, v ); } },
    { "--memory",
      []( Options& o, Text n, Text v ) { o.memory = parseByteCount<UsageFailure>( n, v ); } },
    { "--tile",
      []( Options& o, Text n, Text v ) {
          o.tileSide = parseInt<UsageFailure>( n, v, MIN_TILE_SIDE, MAX_TILE_SIDE );
      } },
    { "--threads", []( Options& o, Text n,
                       Text v ) { o.threads = parseInt<UsageFailure>( n, v, 1, MAX_THREADS ); } },
    { "--strategy",
      []( Options& o, Text n, Text v ) { o.strategy = parseWord<Strategy>( n, v ); } },
    { "--policy", []( Options& o, Text n, Text v ) { o.policy = parseWord<Policy>( n, v ); } },
    { "--manager", []( Options& o, Text n, Text v ) { o.manager = parseWord<Manager>( n, v ); } },
    { "--report", []( Options& o, Text n, Text v ) { o.report = parseWord<ReportForm>( n, v ); } },
    { "--preview", []( Options& o, Text, Text v ) { o.preview = toFile( v ); } },
    { "--dither",
      []( Options& o, Text n, Text v ) { o.dithering = parseWord<Dithering>( n, v ); } },
    { "--scratch", []( Options& o, Text, Text v ) { o.scratch = toPath( v ); } },
    { "--scratch-limit",
      []( Options& o, Text n, Text v ) { o.scratchLimit = parseByteCount<UsageFailure>( n, v ); } },
    { "--log", []( Options&, Text n, Text v ) { checkLogLevel( n, v ); } },
    { "--log-file", []( Options& o, Text, Text v ) { o.logFile = v; } },
    // Jobs are read before all else.
    { JOB_OPTION, []( Options&, Text, Text ) {} },
    { WRITE_JOB_OPTION, []( Options& o, Text, Text v ) { o.writtenJob = toFile( v ); } },
    // With "=" alone: the bare names are flags.
    { "--lock",
      []( Options& o, Text n, Text v ) {
          o.mustLock = true;
          o.lockSeconds = parseInt<UsageFailure>( n, v, 0, MAX_LOCK_SECONDS );
      } },
    { "--watch",
      []( Options& o, Text n, Text v ) {
          o.isWatching = true;
          o.watchSeconds = parseSeconds( n, v );
      } },
} };

struct FlagOption {
    bool isQuestion() const {
        return flag == &Options::wantsHelp || flag == &Options::wantsVersion;
    }

    std::string_view name;
    bool Options::*flag;
};

constexpr std::array<FlagOption, 7> FLAG_OPTIONS{ { { "--verify", &Options::mustVerify },
                                                    { "--lock", &Options::mustLock },
                                                    { "--watch", &Options::isWatching },
                                                    { "--unbuffered", &Options::isUnbuffered },
                                                    { "--help", &Options::wantsHelp },
                                                    { "-h", &Options::wantsHelp },
                                                    { "--version", &Options::wantsVersion } } };

/// The option of the name; null without one.
template <class Option, std::size_t N>
const Option* findOption( const std::array<Option, N>& options, std::string_view name ) {
    const auto found = std::ranges::find( options, name, &Option::name );
    return found == options.end() ? nullptr : &*found;
}

/// An option as it was typed: "--name value" or "--name=value".
struct TypedValue {
    const ValueOption* option;
    std::string name;
    std::string value;
    std::size_t nbArguments;
};

TypedValue readValue( Arguments arguments, std::size_t index ) {
    const std::string argument = arguments[index];
    const std::size_t equals =
        argument.starts_with( "--" ) ? argument.find( '=' ) : std::string::npos;
    const std::string name = argument.substr( 0, equals );
    const ValueOption* const found = findOption( VALUE_OPTIONS, name );
    if( found == nullptr ) {
        throw UsageFailure( Tag::UNKNOWN_OPTION, argument );
    }
    const bool isJoined = equals != std::string::npos;
    if( !isJoined && index + 1 == arguments.size() ) {
        throw UsageFailure( Tag::NO_VALUE, name );
    }
    const std::string value = isJoined ? argument.substr( equals + 1 ) : arguments[index + 1];
    if( value.empty() ) {
        throw UsageFailure( Tag::EMPTY_VALUE, name );
    }
    return { found, name, value, isJoined ? 1U : 2U };
}

/// Shows each argument to one of the three, until a flag's answers false.
template <class OnLayer, class OnFlag, class OnValue>
void readArguments( Arguments arguments, const OnLayer& onLayer, const OnFlag& onFlag,
                    const OnValue& onValue ) {
    bool areOptionsOver = false;
    for( std::size_t i = 0; i < arguments.size(); ) {
        const std::string_view argument = arguments[i];
        const FlagOption* const flag = findOption( FLAG_OPTIONS, argument );
        if( areOptionsOver || argument.size() < 2 || argument[0] != '-' ) {
            onLayer( std::string( argument ) );
            ++i;
        } else if( argument == "--" ) {
            areOptionsOver = true;
            ++i;
        } else if( flag != nullptr ) {
            if( !onFlag( *flag ) ) {
                return;
            }
            ++i;
        } else {
            const TypedValue typed = readValue( arguments, i );
            onValue( typed );
            i += typed.nbArguments;
        }
    }
}

/// The jobs that the arguments name; none if they ask for help or the version.
std::vector<std::string> findJobs( Arguments arguments ) {
    std::vector<std::string> jobs;
    readArguments(
        arguments, []( const std::string& ) {},
        [&]( const FlagOption& option ) {
            if( option.isQuestion() ) {
                jobs.clear();
            }
            return !option.isQuestion();
        },
        [&]( const TypedValue& typed ) {
            if( typed.name == JOB_OPTION ) {
                jobs.push_back( typed.value );
            }
        } );
    return jobs;
}

bool isSetText( const std::string& text ) {
    return Ascii::equalsIgnoringCase( text, "true" );
}

bool isFlagText( const std::string& text ) {
    return isSetText( text ) || Ascii::equalsIgnoringCase( text, "false" );
}

void applyFlag( const FlagOption& option, const std::string& text, Options& options ) {
    if( !isFlagText( text ) ) {
        throw Failure( Tag::JOB_FLAG, option.name, text );
    }
    options.*option.flag = isSetText( text );
}

void addLayer( const std::string& file, Options& options ) {
    options.layers.push_back( { toFile( file ), std::exchange( options.next, {} ) } );
}

void applyEntry( const JobEntry& entry, Options& options ) {
    const FlagOption* const flag = findOption( FLAG_OPTIONS, entry.option );
    const ValueOption* const option = findOption( VALUE_OPTIONS, entry.option );
    if( entry.option.empty() ) {
        addLayer( entry.value, options );
    } else if( flag != nullptr && !flag->isQuestion() && !entry.isOfLayer &&
               ( option == nullptr || isFlagText( entry.value ) ) ) {
        applyFlag( *flag, entry.value, options );
    } else if( option != nullptr && !isAboutJobs( option->name ) &&
               option->isOfLayer == entry.isOfLayer ) {
        option->apply( options, entry.option, entry.value );
    } else {
        throw Failure( Tag::JOB_ATTRIBUTE, entry.isOfLayer ? "layer" : "job",
                       entry.option.substr( 2 ) );
    }
}

void applyJob( const std::string& file, Options& options ) {
    options.jobs.push_back( resolveFile( file ) );
    for( const JobEntry& entry : readJob( file ) ) {
        try {
            applyEntry( entry, options );
        } catch( const Failure& e ) {
            refuseJob( file, entry.place, e.what() );
        }
        options.typed.push_back( entry );
    }
}

/// Whether the log's file, if one is named, is the other one.
bool isLogFile( const std::string& log, const std::string& other ) {
    std::error_code error;
    return !log.empty() && ( log == other || std::filesystem::equivalent( log, other, error ) );
}

/// The same for all files, whose patterns are expanded by now.
bool isLogShared( const Options& options ) {
    const auto isLog = [&]( const OsFilePath& path ) {
        return isLogFile( options.logFile, path.toString() );
    };
    return isLog( options.output ) || isLog( options.preview ) || isLog( options.writtenJob ) ||
           std::ranges::any_of( options.layers, isLog, &NamedLayer::path );
}

void collectLogOptions( Arguments arguments, LogOptions& log ) {
    std::vector<std::string> others;
    const auto note = [&]( std::string_view option, const std::string& value ) {
        if( option == "--log" ) {
            log.level = findLogLevel( value );
        } else if( option == "--log-file" ) {
            log.file = value;
        } else {
            others.push_back( value );
        }
    };
    // What is wrong further on doesn't take back what was said.
    try {
        for( const std::string& job : findJobs( arguments ) ) {
            for( const JobEntry& entry : readJob( job ) ) {
                note( entry.option, entry.value );
            }
        }
    } catch( const Failure& ) {}
    try {
        readArguments(
            arguments, [&]( const std::string& layer ) { others.push_back( layer ); },
            []( const FlagOption& ) { return true; },
            [&]( const TypedValue& typed ) { note( typed.name, typed.value ); } );
    } catch( const UsageFailure& ) {}
    log.isFileShared = std::ranges::any_of(
        others, [&]( const std::string& other ) { return isLogFile( log.file, other ); } );
}

void checkComplete( const Options& options ) {
    if( options.width == 0 ) {
        throw UsageFailure( Tag::NO_SIZE );
    }
    if( options.output.isEmpty() ) {
        throw UsageFailure( Tag::NO_OUTPUT );
    }
    if( options.layers.empty() ) {
        throw UsageFailure( Tag::NO_LAYER );
    }
    if( options.preview == options.output ) {
        throw UsageFailure( Tag::SAME_OUTPUTS );
    }
    if( options.writtenJob == options.output ||
        ( !options.writtenJob.isEmpty() && options.writtenJob == options.preview ) ) {
        throw UsageFailure( Tag::JOB_IS_OUTPUT );
    }
}

/// Without `--frames` a name that has a place for a frame's number is what it is, if there is such
/// a file. With several frames no picture may take another's place.
void checkFrames( const Options& options ) {
    if( !options.frames ) {
        for( const NamedLayer& layer : options.layers ) {
            std::error_code error;
            if( hasFramePlace( layer.path.toString() ) &&
                !std::filesystem::exists( layer.path.toString(), error ) ) {
                throw UsageFailure( Tag::NO_FRAMES, layer.path.toString() );
            }
        }
        return;
    }
    const auto check = [&]( const char* name, const OsFilePath& path ) {
        if( options.frames->getCount() > 1 && !hasFramePlace( path.toString() ) ) {
            throw UsageFailure( Tag::NO_FRAME_PLACE, name, path.toString() );
        }
    };
    check( "-o", options.output );
    if( !options.preview.isEmpty() ) {
        check( "--preview", options.preview );
    }
}

/// /var/tmp rather than /tmp, which is often held in the memory that this command is to spare.
OsFilePath getDefaultScratch() {
    std::string folder;
    return OsEnv::getVariable( folder, "TMPDIR" ) && !folder.empty() ? resolve( folder )
                                                                     : OsFilePath( "/var/tmp" );
}

int getDefaultThreads() {
    return std::min( MtUtil::getNbUsableProcessors(), MAX_THREADS );
}

/// What the command line leaves open.
void takeSettings( Options& options ) {
    if( options.threads == 0 ) {
        const std::optional<Setting> setting = getThreadsSetting();
        options.threads = setting
                              ? parseInt<Failure>( setting->label, setting->text, 1, MAX_THREADS )
                              : getDefaultThreads();
    }
    if( options.scratch.isEmpty() ) {
        const std::optional<Setting> setting = getScratchSetting();
        if( setting && setting->text.empty() ) {
            throw Failure( Tag::EMPTY_VALUE, setting->label );
        }
        options.scratch = setting ? toPath( setting->text ) : getDefaultScratch();
    }
    const std::optional<Setting> setting = options.memory ? std::nullopt : getMemorySetting();
    if( setting ) {
        options.memory = parseByteCount<Failure>( setting->label, setting->text );
        options.memoryLabel = setting->label;
    }
}

} // namespace

Options parseOptions( Arguments arguments ) {
    Options options;
    for( const std::string& job : findJobs( arguments ) ) {
        applyJob( job, options );
    }
    // That no layer has followed yet.
    std::string layerOption;
    readArguments(
        arguments,
        [&]( const std::string& layer ) {
            addLayer( layer, options );
            options.typed.push_back( { "", layer, {}, true } );
            layerOption.clear();
        },
        [&]( const FlagOption& option ) {
            options.*option.flag = true;
            options.typed.push_back( { std::string( option.name ), "True" } );
            return !option.isQuestion();
        },
        [&]( const TypedValue& typed ) {
            typed.option->apply( options, typed.name, typed.value );
            const bool isOfLayer = typed.option->isOfLayer;
            layerOption = isOfLayer ? typed.name : layerOption;
            if( !isAboutJobs( typed.name ) ) {
                options.typed.push_back( { typed.name, typed.value, {}, isOfLayer } );
            }
        } );
    if( options.wantsHelp || options.wantsVersion ) {
        return options;
    }
    if( readLogOptions( arguments ).isFileShared || isLogShared( options ) ) {
        throw UsageFailure( Tag::LOG_IS_OTHER, options.logFile );
    }
    if( !layerOption.empty() ) {
        throw UsageFailure( Tag::NO_LAYER_BEHIND, layerOption );
    }
    checkComplete( options );
    checkFrames( options );
    takeSettings( options );
    return options;
}

Options getFrame( const Options& sequence, int frame ) {
    Options options = sequence;
    const auto fill = [&]( OsFilePath& path ) {
        path = OsFilePath( fillFrame( path.toString(), frame ) );
    };
    options.frame = frame;
    fill( options.output );
    if( !options.preview.isEmpty() ) {
        fill( options.preview );
    }
    for( NamedLayer& layer : options.layers ) {
        fill( layer.path );
    }
    return options;
}

std::vector<OsFilePath> getLayerPaths( const Options& options ) {
    std::vector<OsFilePath> paths;
    for( const NamedLayer& layer : options.layers ) {
        paths.push_back( layer.path );
    }
    return paths;
}

LogOptions readLogOptions( Arguments arguments ) {
    LogOptions log;
    try {
        collectLogOptions( arguments, log );
    } catch( const std::exception& ) {
        // Without memory for the names there is no file of this name.
        log.file.clear();
    }
    return log;
}

} // namespace Qv::Comp
