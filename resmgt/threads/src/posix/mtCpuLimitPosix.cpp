#include <resmgt/threads/src/posix/mtCpuLimitPosix.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace Qv {

namespace {

// Of `proc/self/mountinfo`; the type and the options stand behind the separator "-".
constexpr std::size_t ROOT_FIELD = 3;
constexpr std::size_t PLACE_FIELD = 4;
constexpr std::size_t FIRST_OPTIONAL_FIELD = 6;

using Fields = std::vector<std::string>;

/// A tree of groups as it is mounted.
struct Hierarchy {
    bool isUnified = false;
    /// The group that stands at the place.
    std::string top;
    std::string place;
};

/// Blanks and the like stand as "\040" in the table of mounts.
std::string unescape( const std::string& text ) {
    std::string result;
    for( std::size_t i = 0; i < text.size(); ++i ) {
        const std::string digits = text.substr( i + 1, 3 );
        if( text[i] == '\\' && digits.size() == 3 &&
            digits.find_first_not_of( "01234567" ) == std::string::npos ) {
            result += static_cast<char>( std::stoi( digits, nullptr, 8 ) );
            i += 3;
        } else {
            result += text[i];
        }
    }
    return result;
}

Fields split( const std::string& line, char separator ) {
    Fields fields;
    std::istringstream stream( line );
    for( std::string field; std::getline( stream, field, separator ); ) {
        fields.push_back( field );
    }
    return fields;
}

bool contains( const Fields& fields, std::string_view wanted ) {
    return std::find( fields.begin(), fields.end(), wanted ) != fields.end();
}

std::optional<Hierarchy> parseMount( const std::string& line ) {
    const Fields fields = split( line, ' ' );
    const auto separator =
        fields.size() > FIRST_OPTIONAL_FIELD
            ? std::find( fields.begin() + FIRST_OPTIONAL_FIELD, fields.end(), "-" )
            : fields.end();
    if( fields.end() - separator < 4 ) {
        return std::nullopt;
    }
    const bool isUnified = separator[1] == "cgroup2";
    if( !isUnified &&
        ( separator[1] != "cgroup" || !contains( split( separator[3], ',' ), "cpu" ) ) ) {
        return std::nullopt;
    }
    return Hierarchy{ isUnified, unescape( fields[ROOT_FIELD] ), unescape( fields[PLACE_FIELD] ) };
}

std::vector<Hierarchy> readHierarchies( const std::string& root ) {
    std::vector<Hierarchy> hierarchies;
    std::ifstream mounts( root + "/proc/self/mountinfo" );
    for( std::string line; std::getline( mounts, line ); ) {
        if( const auto hierarchy = parseMount( line ) ) {
            hierarchies.push_back( *hierarchy );
        }
    }
    return hierarchies;
}

/// The process's group in a hierarchy, from lines such as "0::/user" and "4:cpu,cpuacct:/user".
std::string readGroup( const std::string& root, const Hierarchy& hierarchy ) {
    std::ifstream groups( root + "/proc/self/cgroup" );
    for( std::string line; std::getline( groups, line ); ) {
        const std::size_t controllersAt = line.find( ':' ) + 1;
        const std::size_t pathAt = line.find( ':', controllersAt ) + 1;
        if( controllersAt == 0 || pathAt == 0 ) {
            continue;
        }
        const std::string controllers = line.substr( controllersAt, pathAt - 1 - controllersAt );
        const bool isWanted = hierarchy.isUnified ? controllers.empty()
                                                  : contains( split( controllers, ',' ), "cpu" );
        if( isWanted && line.substr( pathAt ).starts_with( '/' ) ) {
            return line.substr( pathAt );
        }
    }
    return hierarchy.top;
}

/// The same below the place where the hierarchy is mounted: empty for what stands there itself, and
/// where the group isn't seen.
std::string getSeenPath( const std::string& group, const std::string& top ) {
    if( top == "/" ) {
        return group == "/" ? "" : group;
    }
    const bool isBelow = group.starts_with( top ) && group[top.size()] == '/';
    return isBelow ? group.substr( top.size() ) : "";
}

/// The processors that a quota grants, both in microseconds; infinite for none.
double toProcessors( const std::string& quota, double period ) {
    double time = 0.0;
    std::istringstream stream( quota );
    return stream >> time && time > 0.0 && period > 0.0 ? time / period
                                                        : std::numeric_limits<double>::infinity();
}

double readLimit( const std::string& directory, bool isUnified ) {
    std::string quota;
    double period = 0.0;
    if( isUnified ) {
        std::ifstream( directory + "/cpu.max" ) >> quota >> period;
    } else {
        std::ifstream( directory + "/cpu.cfs_quota_us" ) >> quota;
        std::ifstream( directory + "/cpu.cfs_period_us" ) >> period;
    }
    return toProcessors( quota, period );
}

double readLeastLimit( const std::string& root, const Hierarchy& hierarchy ) {
    const std::string top = root + hierarchy.place;
    std::string path = getSeenPath( readGroup( root, hierarchy ), hierarchy.top );
    double limit = readLimit( top + path, hierarchy.isUnified );
    while( !path.empty() ) {
        path.erase( path.rfind( '/' ) );
        limit = std::min( limit, readLimit( top + path, hierarchy.isUnified ) );
    }
    return limit;
}

} // namespace

int MtCpuLimitPosix::read( const std::string& root ) {
    double limit = std::numeric_limits<double>::infinity();
    for( const Hierarchy& hierarchy : readHierarchies( root ) ) {
        limit = std::min( limit, readLeastLimit( root, hierarchy ) );
    }
    return limit < std::numeric_limits<int>::max() ? static_cast<int>( std::ceil( limit ) ) : 0;
}

} // namespace Qv
