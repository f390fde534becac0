#include <base/init/inContextAliasMgrBase.h>

#include <base/init/inContextAlias.h>

#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Qv {

namespace {

struct CommandLine {
    std::vector<std::vector<char>> _texts;
    std::map<std::string, std::string, std::less<>> _values;
    Vector<char*> _unboundArgs;
    // What the caller's argv becomes: name, unbound arguments, null.
    std::vector<char*> _keptArgs;
};

CommandLine& commandLine() {
    // Variables are resolved, and read, as long as static objects live.
    static CommandLine* const instance = new CommandLine;
    return *instance;
}

/// The longest key that `argument` begins with; empty when there is none.
std::string_view findKey( std::string_view argument ) {
    std::string_view found;
    // Keys are sorted: of those that match, the longest comes last.
    for( const std::string_view key : InInitArg::getKeys().get() ) {
        if( argument.starts_with( key ) ) {
            found = key;
        }
    }
    return found;
}

void bindAll( CommandLine& line, const std::vector<char*>& args ) {
    for( std::size_t i = 1; i < args.size(); ++i ) {
        const std::string_view key = findKey( args[i] );
        const char* const rest = args[i] + key.size();
        if( key.empty() || ( *rest == 0 && i + 1 == args.size() ) ) {
            line._unboundArgs.push_back( args[i] );
        } else {
            line._values[std::string( key )] = *rest != 0 ? rest : args[++i];
        }
    }
}

template <class Argv>
void bindTo( int& argc, Argv& argv ) {
    CommandLine line;
    if( argv == commandLine()._keptArgs.data() ) {
        line._values = commandLine()._values;
    }
    std::vector<char*> args;
    for( int i = 0; i < argc; ++i ) {
        line._texts.emplace_back( argv[i], argv[i] + std::strlen( argv[i] ) + 1 );
        args.push_back( line._texts.back().data() );
    }
    bindAll( line, args );
    if( !args.empty() ) {
        line._keptArgs.push_back( args.front() );
    }
    line._keptArgs.insert( line._keptArgs.end(), line._unboundArgs.begin(),
                           line._unboundArgs.end() );
    line._keptArgs.push_back( nullptr );
    argc = static_cast<int>( line._keptArgs.size() ) - 1;
    commandLine() = std::move( line );
    argv = commandLine()._keptArgs.data();
}

} // namespace

const char* InContextAliasMgrBase::getApplicationName() noexcept {
    const std::vector<char*>& kept = commandLine()._keptArgs;
    return kept.empty() || kept.front() == nullptr ? "" : kept.front();
}

const Vector<char*>& InContextAliasMgrBase::getUnboundArgs() noexcept {
    return commandLine()._unboundArgs;
}

const char* InContextAliasMgrBase::getArgument( const char* key ) {
    const auto& values = commandLine()._values;
    const auto i = values.find( std::string_view( key ) );
    return i != values.end() ? i->second.c_str() : nullptr;
}

void InContextAliasMgrBase::bindArguments( int& argc, const char* const*& argv ) {
    bindTo( argc, argv );
}

void InContextAliasMgrBase::bindArguments( int& argc, char**& argv ) {
    bindTo( argc, argv );
}

} // namespace Qv
