#include <resmgt/literals/liStringSubstituter.h>

#include <base/containers/map.h>
#include <base/failure/assertions.h>
#include <base/locks/lkLock.h>
#include <base/text/printable.h>
#include <resmgt/literals/liStringUtil.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <ostream>
#include <set>
#include <unordered_map>
#include <vector>

namespace Qv {

namespace {

/// What finds the longest pattern at a place of a text.
template <class Value>
class PatternMap {
public:
    using Values = std::map<std::string, Value, std::less<>>;
    using Place = typename Values::const_iterator;

    bool isEmpty() const noexcept { return _values.empty(); }
    const auto& getValues() const noexcept { return _values; }

    /// Replaces a former value.
    Place put( const std::string& pattern, const Value& value ) {
        QV_ASSERT( !pattern.empty() );
        _begins[static_cast<unsigned char>( pattern[0] )] = true;
        return _values.insert_or_assign( pattern, value ).first;
    }
    void remove( Place place ) {
        _values.erase( place );
        // Beginnings that no pattern has any more only cost a look.
        if( _values.empty() ) {
            _begins.fill( false );
        }
    }
    bool mayBeginWith( char first ) const noexcept {
        return _begins[static_cast<unsigned char>( first )];
    }
    /// The entry of the longest pattern that `text` begins with; null if there is none.
    const std::pair<const std::string, Value>* find( std::string_view text ) const {
        auto next = _values.upper_bound( text );
        while( next != _values.begin() ) {
            const auto& entry = *std::prev( next );
            const std::string_view pattern = entry.first;
            const auto differing = std::ranges::mismatch( pattern, text ).in1;
            if( differing == pattern.end() ) {
                return &entry;
            }
            // A longer beginning of the text would stand between this pattern and the text.
            const auto common = static_cast<std::size_t>( differing - pattern.begin() );
            next = _values.upper_bound( text.substr( 0, common ) );
        }
        return nullptr;
    }

private:
    Values _values;
    std::array<bool, 256> _begins{};
};

constinit LkLock patternRegistryLock( "PatternRegistryLock" );

/// What is registered for all.
struct Registry {
    using Patterns = PatternMap<CbHandler<std::string>*>;

    Patterns _patterns;
    /// Each pattern under its handler: there may be one for each variable of the environment.
    std::unordered_multimap<const CbHandler<std::string>*, Patterns::Place> _places;
    std::vector<CbHandler<std::string>*> _handlers;
};

Registry& registry() QV_REQUIRES( patternRegistryLock ) {
    static Registry instance;
    return instance;
}

[[noreturn]] void abortRedundant( const std::string& what ) {
    const std::string text = "Trying to insert redundant substitution callback for " + what;
    Assertions::throwProgramAborted( QV_HERE, text.c_str() );
}

void assertEmpty() {
    const LkGuard<LkLock> guard( patternRegistryLock );
    const auto& _patterns = registry()._patterns.getValues();
    QV_ASSERT( _patterns.empty() );
    QV_ASSERT( registry()._handlers.empty() );
}

/// Walks through a snapshot of its own.
class SnapshotEng final : public IteratorEng<std::string> {
public:
    explicit SnapshotEng( std::set<std::string> patterns )
        : _patterns( patterns.begin(), patterns.end() ) {}

    const std::string* getCurrent() const override {
        return _index < _patterns.size() ? &_patterns[_index] : nullptr;
    }
    void advance() override { ++_index; }
    SnapshotEng* clone() const override { return new SnapshotEng( *this ); }

private:
    std::vector<std::string> _patterns;
    std::size_t _index = 0;
};

} // namespace

class LiStringSubstituter::Table : public RCBase<LkCounter<int>> {
public:
    PatternMap<std::string> _patterns;
};

namespace {

/// The value of the bracketed text at the beginning of `text`, if a handler knows it; `length` is
/// what it stands for.
bool askHandlers( const Registry& registry, std::string_view text, std::size_t& length,
                  std::string& value ) {
    if( text[0] != '<' || registry._handlers.empty() ) {
        return false;
    }
    // No further than to the next bracket of either kind: many that open cost no more than others.
    const std::size_t end = text.find_first_of( "<>", 1 );
    if( end == std::string_view::npos || text[end] != '>' ) {
        return false;
    }
    const std::string_view bracketed = text.substr( 0, end + 1 );
    for( CbHandler<std::string>* const handler : registry._handlers ) {
        value = bracketed;
        handler->call( value );
        if( value != bracketed ) {
            length = bracketed.size();
            return true;
        }
    }
    return false;
}

} // namespace

void LiStringSubstituter::initialize() {
    assertEmpty();
}

void LiStringSubstituter::finalize() {
    assertEmpty();
}

void LiStringSubstituter::registerPatternHandler( CbHandler<std::string>* handler ) {
    QV_ASSERT( handler != nullptr );
    const LkGuard<LkLock> guard( patternRegistryLock );
    std::vector<CbHandler<std::string>*>& handlers = registry()._handlers;
    if( std::find( handlers.begin(), handlers.end(), handler ) != handlers.end() ) {
        abortRedundant( "<...>" );
    }
    handlers.push_back( handler );
}

void LiStringSubstituter::unregisterPatternHandler( const CbHandler<std::string>* handler ) {
    const LkGuard<LkLock> guard( patternRegistryLock );
    std::erase( registry()._handlers, handler );
}

void LiStringSubstituter::registerPattern( const std::string& pattern,
                                           CbHandler<std::string>* handler ) {
    QV_ASSERT( handler != nullptr );
    const LkGuard<LkLock> guard( patternRegistryLock );
    Registry::Patterns& patterns = registry()._patterns;
    if( patterns.getValues().contains( pattern ) ) {
        abortRedundant( pattern );
    }
    const Registry::Patterns::Place place = patterns.put( pattern, handler );
    try {
        registry()._places.emplace( handler, place );
    } catch( ... ) {
        patterns.remove( place );
        throw;
    }
}

void LiStringSubstituter::unregisterPattern( const CbHandler<std::string>* handler ) {
    const LkGuard<LkLock> guard( patternRegistryLock );
    const auto [begin, end] = registry()._places.equal_range( handler );
    for( auto i = begin; i != end; ++i ) {
        registry()._patterns.remove( i->second );
    }
    registry()._places.erase( begin, end );
}

LiStringSubstituter::LiStringSubstituter()
    : _table( new Table ) {}

LiStringSubstituter::LiStringSubstituter( const LiStringSubstituter& other ) = default;

LiStringSubstituter& LiStringSubstituter::operator=( const LiStringSubstituter& other ) = default;

LiStringSubstituter::~LiStringSubstituter() = default;

void LiStringSubstituter::addPattern( const std::string& pattern, const std::string& value ) {
    _table->_patterns.put( pattern, value );
}

ConstIterator<std::string> LiStringSubstituter::getPatterns() const {
    std::set<std::string> patterns;
    for( const auto& [pattern, value] : _table->_patterns.getValues() ) {
        patterns.insert( pattern );
    }
    const LkGuard<LkLock> guard( patternRegistryLock );
    for( const auto& [pattern, handler] : registry()._patterns.getValues() ) {
        patterns.insert( pattern );
    }
    return ConstIterator<std::string>( new SnapshotEng( std::move( patterns ) ) );
}

std::string LiStringSubstituter::substitute( const std::string& text ) const {
    std::string result = text;
    const LkGuard<LkLock> guard( patternRegistryLock );
    const Registry& shared = registry();
    const PatternMap<std::string>& own = _table->_patterns;
    LiStringUtil::substitute( result, [&]( std::string_view rest, std::string& value ) {
        const char first = rest[0];
        const auto* const ownEntry = own.mayBeginWith( first ) ? own.find( rest ) : nullptr;
        const auto* const entry =
            shared._patterns.mayBeginWith( first ) ? shared._patterns.find( rest ) : nullptr;
        if( ownEntry != nullptr &&
            ( entry == nullptr || ownEntry->first.size() >= entry->first.size() ) ) {
            value = ownEntry->second;
            return ownEntry->first.size();
        }
        if( entry != nullptr ) {
            value = entry->first;
            entry->second->call( value );
            return entry->first.size();
        }
        std::size_t length = 0;
        return askHandlers( shared, rest, length, value ) ? length : 0;
    } );
    return result;
}

void LiStringSubstituter::dump( std::ostream& stream ) const {
    stream << "Available substitutions: ";
    for( ConstIterator<std::string> pattern = getPatterns(); !pattern.isAtEnd(); ++pattern ) {
        stream << Printable::makeLine( *pattern ) << ' ';
    }
    stream << '\n';
}

} // namespace Qv
