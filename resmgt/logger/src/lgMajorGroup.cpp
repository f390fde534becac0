#include <resmgt/logger/lgMajorGroup.h>

#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>
#include <resmgt/logger/src/lgPrefix.h>

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

struct NamedGroup {
    LgMajorGroup group;
    /// False from an `initialize` to the next use of the name.
    bool isThere = false;
    /// False while only a setting has named it.
    bool isAskedFor = false;
};

using Groups = std::map<std::string, NamedGroup, std::less<>>;
using Setting = std::pair<std::string, LgTypes::Level>;

constexpr std::size_t PRINTED_NAME_WIDTH = 15;

// None needs a constructor or a destructor: statements run before and after those of other files.
constinit const LkLock lock( "LgMajorGroup" );
constinit bool areTablesThere QV_GUARDED_BY( lock ) = false;
// Relaxed: it orders nothing.
constinit std::atomic<LgTypes::Level> defaultThreshold = LgTypes::Informational;

/// All groups that ever were; a thread that outlives `finalize` may look at one.
Groups& getGroups() QV_REQUIRES( lock ) {
    static Groups& groups = *new Groups;
    return groups;
}

NamedGroup& findOrMake( const char* name ) QV_REQUIRES( lock ) {
    NamedGroup& found = getGroups()[name];
    if( !found.isThere ) {
        found.group.setLogThreshold( LgMajorGroup::getDefaultThreshold(), true );
        found.isAskedFor = false;
        found.isThere = true;
    }
    return found;
}

void checkTables() QV_REQUIRES( lock ) {
    QV_ASSERT_TEXT( areTablesThere, "names" );
}

void checkLevel( LgTypes::Level l ) {
    QV_ASSERT_TEXT( l >= 0 && l < LgTypes::NUM_LEVELS, "l < NUM_LEVELS" );
}

/// As `strtok` cuts: delimiters in front are skipped, and the one behind the token is taken too.
std::optional<std::string> cutToken( std::string_view& text, char delimiter ) {
    text.remove_prefix( std::min( text.find_first_not_of( delimiter ), text.size() ) );
    if( text.empty() ) {
        return std::nullopt;
    }
    const std::size_t end = std::min( text.find( delimiter ), text.size() );
    std::string token( text.substr( 0, end ) );
    text.remove_prefix( std::min( end + 1, text.size() ) );
    return token;
}

Vector<Setting> readSettings( std::string_view text ) {
    Vector<Setting> settings;
    while( std::optional<std::string> name = cutToken( text, '=' ) ) {
        const std::optional<std::string> level = cutToken( text, ',' );
        settings.emplace_back( std::move( *name ),
                               LgTypes::getLevel( level ? level->c_str() : nullptr ) );
    }
    return settings;
}

void apply( const Vector<Setting>& settings ) QV_REQUIRES( lock ) {
    Vector<LgMajorGroup*> groups;
    for( const Setting& setting : settings ) {
        groups.push_back( &findOrMake( setting.first.c_str() ).group );
    }
    for( std::size_t i = 0; i < settings.size(); ++i ) {
        groups[i]->setLogThreshold( settings[i].second, false );
    }
}

std::string getLevelNames( const LgMajorGroup& group ) {
    std::string names;
    for( int i = 0; i < LgTypes::NUM_LEVELS; ++i ) {
        const auto l = static_cast<LgTypes::Level>( i );
        if( group.isLevelEnabled( l ) ) {
            names.append( names.empty() ? "" : ", " ).append( LgTypes::getLevelName( l ) );
        }
    }
    return names;
}

std::string describeGroups() QV_REQUIRES( lock ) {
    checkTables();
    std::string text = "Major Groups:\n";
    for( const auto& [name, group] : getGroups() ) {
        if( group.isThere ) {
            text += LgPrefix::padRight( name, PRINTED_NAME_WIDTH ) + ' ' +
                    getLevelNames( group.group ) + '\n';
        }
    }
    return text;
}

} // namespace

LgMajorGroup::LgMajorGroup() noexcept
    : _logLevels( getLevelMask( getDefaultThreshold() ) ) {}

void LgMajorGroup::initialize( const char* groups ) {
    const LkGuard guard( lock );
    QV_ASSERT_TEXT( !areTablesThere, "!names" );
    for( auto& [name, group] : getGroups() ) {
        group.isThere = false;
    }
    apply( readSettings( groups != nullptr ? groups : "" ) );
    areTablesThere = true;
}

void LgMajorGroup::finalize() {
    const LkGuard guard( lock );
    checkTables();
    areTablesThere = false;
}

void LgMajorGroup::parse( const char* groups ) {
    QV_ASSERT( groups );
    const LkGuard guard( lock );
    checkTables();
    apply( readSettings( groups ) );
}

LgMajorGroup& LgMajorGroup::getInstanceForName( const char* name ) {
    const LkGuard guard( lock );
    checkTables();
    NamedGroup& found = findOrMake( name );
    found.isAskedFor = true;
    return found.group;
}

Vector<std::string> LgMajorGroup::getNamesNobodyAskedFor() {
    const LkGuard guard( lock );
    checkTables();
    Vector<std::string> names;
    for( const auto& [name, group] : getGroups() ) {
        if( group.isThere && !group.isAskedFor ) {
            names.push_back( name );
        }
    }
    return names;
}

void LgMajorGroup::setDefaultThreshold( LgTypes::Level l ) {
    checkLevel( l );
    defaultThreshold.store( std::max( l, LgTypes::FatalError ), std::memory_order_relaxed );
}

LgTypes::Level LgMajorGroup::getDefaultThreshold() noexcept {
    return defaultThreshold.load( std::memory_order_relaxed );
}

unsigned int LgMajorGroup::getLevelMask( LgTypes::Level l ) {
    checkLevel( l );
    if( l == LgTypes::Profiling ) {
        return PROFILING_MASK;
    }
    // The level's bit and those above it, which are the graver ones.
    return 2 * LgTypes::getLevelBit( LgTypes::InternalError ) - LgTypes::getLevelBit( l );
}

void LgMajorGroup::setLogThreshold( LgTypes::Level l, bool clearProfiling ) {
    checkLevel( l );
    const unsigned int opened = getLevelMask( std::max( l, LgTypes::FatalError ) );
    const unsigned int kept = l == LgTypes::Profiling ? ~0U : clearProfiling ? 0 : PROFILING_MASK;
    // Not one store: two changes at once must not lose each other's part.
    unsigned int levels = getLogLevels();
    while( !_logLevels.compare_exchange_weak( levels, ( levels & kept ) | opened,
                                              std::memory_order_relaxed ) ) {}
}

void LgMajorGroup::printAll( std::ostream& stream ) {
    std::string text;
    {
        const LkGuard guard( lock );
        text = describeGroups();
    }
    // Whatever width, fill and flags the stream has.
    stream.write( text.data(), static_cast<std::streamsize>( text.size() ) );
}

} // namespace Qv
