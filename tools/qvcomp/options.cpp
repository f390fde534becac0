#include <tools/qvcomp/options.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/qvcompPackage.h>

#include <base/failure/exSysError.h>
#include <base/text/ascii.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/logger/lgTypes.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osTypedPath.h>
#include <resmgt/threads/mtUtil.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <utility>

namespace Qv::Comp {

namespace {

using Arguments = std::span<const char* const>;

/// Takes all of `text` as a decimal number; nothing when it isn't one or is too large.
std::optional<std::uint64_t> toNumber( std::string_view text ) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars( text.data(), end, value );
    if( result.ec != std::errc() || result.ptr != end ) {
        return std::nullopt;
    }
    return value;
}

template <class Refusal = UsageFailure>
int parseInt( const std::string& option, const std::string& text, int least, int most ) {
    const std::optional<std::uint64_t> value = toNumber( text );
    if( !value || *value < static_cast<std::uint64_t>( least ) ||
        *value > static_cast<std::uint64_t>( most ) ) {
        throw Refusal( Tag::WRONG_NUMBER, option, least, most, text );
    }
    return static_cast<int>( *value );
}

/// A number of bytes such as 300, 64K, 2M or 1G, in powers of 1024, that isn't 0 and fits 62 bits:
/// sums of two such counts still fit 64 bits.
template <class Refusal = UsageFailure>
std::uint64_t parseByteCount( const std::string& option, const std::string& text ) {
    constexpr std::string_view UNITS = "KMG";
    constexpr std::uint64_t MOST = std::uint64_t{ 1 } << 62;
    const std::size_t unit = text.empty() ? std::string_view::npos : UNITS.find( text.back() );
    const bool hasUnit = unit != std::string_view::npos;
    const std::size_t shift = hasUnit ? 10 * ( unit + 1 ) : 0;
    const auto count = toNumber( std::string_view( text ).substr( 0, text.size() - hasUnit ) );
    if( !count || *count == 0 || *count > MOST >> shift ) {
        throw Refusal( Tag::WRONG_BYTES, option, text );
    }
    return *count << shift;
}

/// Takes all of `text` as a number such as 2 or 0.5; nothing when it isn't one in those bounds.
std::optional<double> toDecimal( std::string_view text, double least, double most ) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars( text.data(), end, value, std::chars_format::fixed );
    if( error != std::errc() || rest != end || !( value >= least && value <= most ) ) {
        return std::nullopt;
    }
    return value;
}

double parseSeconds( const std::string& option, const std::string& text ) {
    const std::optional<double> seconds = toDecimal( text, 0.01, 86400 );
    if( !seconds ) {
        throw UsageFailure( Tag::WRONG_SECONDS, option, text );
    }
    return *seconds;
}

/// `least` and `most` as they are shown.
double parseDecimal( const std::string& option, const std::string& text, const char* least,
                     const char* most ) {
    const auto value = toDecimal( text, std::atof( least ), std::atof( most ) );
    if( !value ) {
        throw UsageFailure( Tag::WRONG_NUMBER, option, least, most, text );
    }
    return *value;
}

/// Pixels, or with "%" a part of the frame's width.
GlowRadius parseGlowRadius( const std::string& option, const std::string& text ) {
    const bool isPercentage = text.ends_with( '%' );
    const std::string_view number =
        std::string_view( text ).substr( 0, text.size() - isPercentage );
    const auto value =
        isPercentage ? toDecimal( number, 0.01, 100 ) : toDecimal( number, 0.1, MAX_SIDE );
    if( !value ) {
        throw UsageFailure( Tag::WRONG_RADIUS, option, MAX_SIDE, text );
    }
    return { *value, isPercentage };
}

FrameRange parseFrameRange( const std::string& text ) {
    const std::optional<FrameRange> frames = parseFrames( text );
    if( !frames ) {
        throw UsageFailure( Tag::WRONG_FRAMES, MAX_FRAMES, text );
    }
    return *frames;
}

/// Two whole numbers such as 120,-40 or +120,-40.
void parseOffset( const std::string& option, const std::string& text, LayerOptions& layer ) {
    constexpr int MOST = 1000000;
    const std::size_t comma = std::min( text.find( ',' ), text.size() - 1 );
    const auto parse = [&]( std::string_view number ) {
        number.remove_prefix( number.size() > 1 && number[0] == '+' && number[1] != '-' );
        int value = 0;
        const char* const end = number.data() + number.size();
        const auto [rest, error] = std::from_chars( number.data(), end, value );
        if( error != std::errc() || rest != end || std::abs( value ) > MOST ) {
            throw UsageFailure( Tag::WRONG_OFFSET, option, MOST, text );
        }
        return value;
    };
    layer.offsetX = parse( std::string_view( text ).substr( 0, comma ) );
    layer.offsetY = parse( std::string_view( text ).substr( comma + 1 ) );
}

std::string expand( const std::string& text ) {
    return LiStringSubstituter().substitute( text );
}

/// The path that the system finds by `typed`.
OsFilePath resolve( const std::string& typed ) {
    try {
        return OsTypedPath::resolve( typed );
    } catch( const OsFileEx::ExInvalidPath& ) {
        throw Failure( Tag::PATH_UNTOLD, typed );
    } catch( const ExSysErrorWindows& e ) {
        throw Failure( Tag::PATH_UNREACHED, typed, getSystemText( e ) );
    }
}

OsFilePath toPath( const std::string& text ) {
    return resolve( expand( text ) );
}

/// The path of a file, as which the system takes nothing that ends as only a folder can.
OsFilePath resolveFile( const std::string& typed ) {
    if( typed.ends_with( '/' ) || typed.ends_with( "/." ) ) {
        throw Failure( Tag::NO_FILE_NAME, typed );
    }
    return resolve( typed );
}

OsFilePath toFile( const std::string& text ) {
    return resolveFile( expand( text ) );
}

void parseSize( const std::string& text, Options& options ) {
    const std::size_t cross = text.find( 'x' );
    if( cross == std::string::npos ) {
        throw UsageFailure( Tag::WRONG_SIZE, text );
    }
    options.width = parseInt( "--size", text.substr( 0, cross ), 1, MAX_SIDE );
    options.height = parseInt( "--size", text.substr( cross + 1 ), 1, MAX_SIDE );
}

/// A word of an option and what it stands for.
template <class T>
struct Word {
    std::string_view text;
    T value;
};

template <class T, std::size_t N>
T parseWord( const std::string& option, const std::string& text,
             const std::array<Word<T>, N>& words ) {
    const auto word =
        std::find_if( words.begin(), words.end(), [&]( auto& w ) { return w.text == text; } );
    if( word == words.end() ) {
        std::string choices;
        for( const Word<T>& choice : words ) {
            choices += &choice == &words.front() ? "" : &choice == &words.back() ? " or " : ", ";
            choices += choice.text;
        }
        throw UsageFailure( Tag::WRONG_WORD, option, choices, text );
    }
    return word->value;
}

constexpr std::array<Word<Strategy>, 2> STRATEGIES{
    { { "lru", Strategy::LRU }, { "random", Strategy::RANDOM } } };
constexpr std::array<Word<Policy>, 2> POLICIES{
    { { "relaxed", Policy::RELAXED }, { "strict", Policy::STRICT } } };
constexpr std::array<Word<Manager>, 2> MANAGERS{
    { { "heap", Manager::HEAP }, { "arena", Manager::ARENA } } };
constexpr std::array<Word<Dithering>, 2> DITHERINGS{
    { { "position", Dithering::POSITION }, { "none", Dithering::NONE } } };
constexpr std::array<Word<ReportForm>, 2> REPORTS{
    { { "text", ReportForm::TEXT }, { "json", ReportForm::JSON } } };
constexpr std::array<Word<Fit>, 3> FITS{
    { { "cover", Fit::COVER }, { "contain", Fit::CONTAIN }, { "none", Fit::NONE } } };
constexpr std::array<Word<Operation>, 4> OPERATIONS{ { { "over", Operation::OVER },
                                                       { "plus", Operation::PLUS },
                                                       { "multiply", Operation::MULTIPLY },
                                                       { "screen", Operation::SCREEN } } };
constexpr std::array<Word<Mattes>, 2> MATTES{
    { { "soft", Mattes::SOFT }, { "none", Mattes::NONE } } };

template <class T, std::size_t N>
const char* findText( T value, const std::array<Word<T>, N>& words ) {
    return std::find_if( words.begin(), words.end(), [&]( auto& w ) { return w.value == value; } )
        ->text.data();
}

/// The display name of the level that is written in any case, with "-" for a blank; empty for none.
std::string findLogLevel( const std::string& text ) {
    const auto areAlike = []( char typed, char shown ) {
        return Ascii::toLower( typed ) == Ascii::toLower( shown ) ||
               ( typed == '-' && shown == ' ' );
    };
    for( int l = 0; l < LgTypes::NUM_LEVELS; ++l ) {
        const std::string_view name = LgTypes::getLevelName( static_cast<LgTypes::Level>( l ) );
        if( std::ranges::equal( text, name, areAlike ) ) {
            return std::string( name );
        }
    }
    return "";
}

void checkLogLevel( const std::string& option, const std::string& text ) {
    if( findLogLevel( text ).empty() ) {
        throw UsageFailure( Tag::WRONG_LEVEL, option, text );
    }
}

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
      []( Options& o, Text n, Text v ) { o.next.operation = parseWord( n, v, OPERATIONS ); },
      true },
    { "--opacity",
      []( Options& o, Text n, Text v ) {
          o.next.opacity = static_cast<float>( parseDecimal( n, v, "0", "1" ) );
      },
      true },
    { "--offset", []( Options& o, Text n, Text v ) { parseOffset( n, v, o.next ); }, true },
    { "--fit", []( Options& o, Text n, Text v ) { o.fit = parseWord( n, v, FITS ); } },
    { "--pixel-aspect",
      []( Options& o, Text n, Text v ) { o.pixelAspect = parseDecimal( n, v, "0.01", "100" ); } },
    { "--matte", []( Options& o, Text n, Text v ) { o.mattes = parseWord( n, v, MATTES ); } },
    { "--glow", []( Options& o, Text n, Text v ) { o.glow = parseDecimal( n, v, "0", "100" ); } },
    { "--glow-radius",
      []( Options& o, Text n, Text v ) { o.glowRadius = parseGlowRadius( n, v ); } },
    { "--memory", []( Options& o, Text n, Text v ) { o.memory = parseByteCount( n, v ); } },
    { "--tile", []( Options& o, Text n,
                    Text v ) { o.tileSide = parseInt( n, v, MIN_TILE_SIDE, MAX_TILE_SIDE ); } },
    { "--threads",
      []( Options& o, Text n, Text v ) { o.threads = parseInt( n, v, 1, MAX_THREADS ); } },
    { "--strategy",
      []( Options& o, Text n, Text v ) { o.strategy = parseWord( n, v, STRATEGIES ); } },
    { "--policy", []( Options& o, Text n, Text v ) { o.policy = parseWord( n, v, POLICIES ); } },
    { "--manager", []( Options& o, Text n, Text v ) { o.manager = parseWord( n, v, MANAGERS ); } },
    { "--report", []( Options& o, Text n, Text v ) { o.report = parseWord( n, v, REPORTS ); } },
    { "--preview", []( Options& o, Text, Text v ) { o.preview = toFile( v ); } },
    { "--dither",
      []( Options& o, Text n, Text v ) { o.dithering = parseWord( n, v, DITHERINGS ); } },
    { "--scratch", []( Options& o, Text, Text v ) { o.scratch = toPath( v ); } },
    { "--scratch-limit",
      []( Options& o, Text n, Text v ) { o.scratchLimit = parseByteCount( n, v ); } },
    { "--log", []( Options&, Text n, Text v ) { checkLogLevel( n, v ); } },
    { "--log-file", []( Options& o, Text, Text v ) { o.logFile = v; } },
    // Jobs are read before all else.
    { JOB_OPTION, []( Options&, Text, Text ) {} },
    { WRITE_JOB_OPTION, []( Options& o, Text, Text v ) { o.writtenJob = toFile( v ); } },
    // With "=" alone: the bare names are flags.
    { "--lock",
      []( Options& o, Text n, Text v ) {
          o.mustLock = true;
          o.lockSeconds = parseInt( n, v, 0, MAX_LOCK_SECONDS );
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

const char* toText( Strategy value ) {
    return findText( value, STRATEGIES );
}

const char* toText( Policy value ) {
    return findText( value, POLICIES );
}

const char* toText( Manager value ) {
    return findText( value, MANAGERS );
}

const char* toText( Fit value ) {
    return findText( value, FITS );
}

const char* toText( Mattes value ) {
    return findText( value, MATTES );
}

std::string getHelp() {
    return R"(Usage: qvcomp [options] --size WxH -o OUT.exr LAYER.exr...

Composites the layers, bottom first, over each other into a frame of W by H pixels, adds a glow
around the bright parts, and writes a tiled half-float OpenEXR image. All images in between are
held in tiles; those that the memory limit has no room for wait on the disk.

  --size WxH            size of the frame in pixels
  -o FILE               the picture to write
  --frames A-B[xN]      make a picture for each frame from A to B, or each N-th; #### or %04d in the
                        names of layers and outputs stands for its number
  --fit cover|contain|none
                        scale each layer evenly until it covers the frame, or until all of it is in
                        the frame, or place it at the upper left as it is; cover by default
  --pixel-aspect A      width over height of the frame's pixels; 1 by default
  --matte soft|none     what a layer without alpha gets: a soft matte, or none, so that it is
                        opaque; soft by default
  --glow F              the part of the bright light that the glow adds; 0 for no glow, 0.35 by
                        default
  --glow-radius R       standard deviation of the glow in pixels, or with % of the frame's width;
                        2% by default
  --preview FILE        also write a tone-mapped PNG picture
  --dither position|none
                        how its colours become bytes: by a fine pattern, so that slopes show no
                        bands, or the nearest; position by default
  --memory N            memory for tiles, such as 64M or 2G (K, M, G); no limit by default
  --tile N              side of a tile in pixels, 16 to 4096; 256 by default
  --threads N           computing threads; as many as there are processors by default
  --strategy lru|random which tile leaves memory first; lru by default
  --policy relaxed|strict
                        whether a tile may have several writers; relaxed by default
  --manager heap|arena  where tiles come from; heap by default
  --scratch DIR         where a folder qvcomp-<user id> keeps those on the disk; $TMPDIR or
                        /var/tmp by default
  --scratch-limit N     most bytes for them, such as 20G; no limit by default
  --unbuffered          move them past the system's file cache, where the volume can
  --lock[=S]            write only with the lock of the picture's path, which keeps out others who
                        lock it; try for S seconds to get it, once by default
  --log LEVEL           log this level and the graver ones, such as warning, informational
                        or tracing; informational by default
  --log-file FILE       add the log to this file; one of its own by default
  --report text|json    form of the report on standard output; text by default
  --job FILE            take layers and options also from this XML document; the options here
                        count more
  --write-job FILE      save layers and options as such a document
  --watch[=S]           make the picture again whenever a layer was saved, until interrupted; look
                        at the layers each S seconds, such as 0.5; 1 by default
  --verify              do the same in plain memory and compare bit for bit
  --help, -h            show this text
  --version             show the version
  --                    all that follows are layers

Of one layer, before its name:

  --operation over|plus|multiply|screen
                        how it joins the layers below; over by default
  --opacity A           multiply it by A, from 0 to 1; 1 by default
  --offset X,Y          move it by X pixels of the frame to the right and Y down

Patterns such as <TempFolder> and <Env:HOME> are expanded in all files and folders but that of the
log and that of --job. What isn't given of --memory, --threads and --scratch is taken from
QVCOMP_MEMORY, QVCOMP_THREADS and QVCOMP_SCRATCH, then from the init files.

Exit status: 0 when all pictures are written, 1 when one can't be, 2 for a wrong command line.
)";
}

} // namespace Qv::Comp
