#include <base/init/inVariable.h>

#include <base/failure/assertions.h>
#include <base/init/inContextAliasBuilder.h>
#include <base/init/inPackageInit.h>
#include <base/init/inUtils.h>
#include <base/text/ascii.h>
#include <base/text/printable.h>
#include <base/trace/traceManager.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <sstream>
#include <string_view>

namespace Qv {

namespace {

class NoAlias final : public InContextAliasBase {
public:
    constexpr NoAlias() noexcept = default;

    int getPriority() const override { return 0; }
    InContextAliasBase* clone() const override { return new NoAlias( *this ); }
    const char* getSourceString() const override { return "none"; }
    void lookUp() override { initialize( nullptr ); }
};

// Variables of other libraries are built, and compare with it, before this file's code may run.
constinit const NoAlias noAlias;

constexpr unsigned int TRACE_SOURCES_BIT = 1;

using Builders = std::vector<InContextAliasBuilder*>;

struct BuilderKinds {
    Builders _user;
    Builders _app;
};

BuilderKinds& builderKinds() {
    static BuilderKinds kinds;
    return kinds;
}

/// How far a whole text could be read as an int.
std::errc parseInt( std::string_view text, int& value ) noexcept {
    if( text.starts_with( '+' ) && !text.starts_with( "+-" ) ) {
        text.remove_prefix( 1 );
    }
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars( text.data(), end, value );
    return result.ptr != end ? std::errc::invalid_argument : result.ec;
}

void report( const InVariableBase& variable, const InContextAliasBase& alias,
             const char* whatHappens ) {
    std::ostringstream text;
    text << "Configuration variable " << variable.getKey() << ": the value \""
         << Printable::makeLine( alias.getValue() ) << "\" of its source "
         << alias.getSourceString() << ' ' << alias.getKey() << " ("
         << Printable::makeLine( alias.getDescription() ) << ") " << whatHappens << '.';
    TraceManager::getInstance().getTrace().log( text, QV_HERE );
}

} // namespace

bool InVariableText::parse( const char* text, bool& value ) noexcept {
    const std::string_view word = Ascii::trim( text );
    const bool isTrue = Ascii::equalsIgnoringCase( word, "true" );
    if( isTrue || Ascii::equalsIgnoringCase( word, "false" ) ) {
        value = isTrue;
        return true;
    }
    int number = 0;
    const std::errc error = parseInt( word, number );
    if( error == std::errc::invalid_argument ) {
        return false;
    }
    value = number != 0 || error == std::errc::result_out_of_range;
    return true;
}

bool InVariableText::parse( const char* text, int& value ) noexcept {
    int number = 0;
    if( parseInt( Ascii::trim( text ), number ) != std::errc() ) {
        return false;
    }
    value = number;
    return true;
}

bool InVariableText::parse( const char* text, const char*& value ) noexcept {
    value = text;
    return true;
}

constinit const InContextAliasBase& InVariableBase::_dummy = noAlias;

InVariableBase::InVariableBase( const char* key, InPackageInitBase& package,
                                std::initializer_list<const InContextAliasBase*> aliases )
    : _key( key )
    , _package( package ) {
    for( const InContextAliasBase* const alias : aliases ) {
        if( alias != &_dummy ) {
            _namedAliases.push_back( std::unique_ptr<InContextAliasBase>( alias->clone() ) );
        }
    }
    _package.addDependency( this );
}

InVariableBase::~InVariableBase() {
    _package.removeDependency( this );
}

void InVariableBase::resolve() {
    _origin = nullptr;
    resetValue();
    _sources.clear();
    // The former ones must be gone first: a source may track its keys.
    _builtAliases.clear();
    _builtAliases = buildAliases();
    for( const Aliases& aliases : { std::cref( _namedAliases ), std::cref( _builtAliases ) } ) {
        for( const auto& alias : aliases ) {
            alias->finalize();
            alias->lookUp();
        }
    }
    orderSources();
    const auto found = std::ranges::find_if(
        _sources, [this]( const InContextAliasBase* alias ) { return takeValue( *alias ); } );
    _origin = found != _sources.end() ? *found : nullptr;
}

void InVariableBase::orderSources() {
    for( const auto& alias : _namedAliases ) {
        _sources.push_back( alias.get() );
    }
    const auto place = std::ranges::find_if( _sources, []( const InContextAliasBase* alias ) {
        return alias->getPriority() <= InContextAliasBase::HIGHEST_LASTING_PRIORITY;
    } );
    const auto begin = place - _sources.begin();
    auto end = begin;
    for( const auto& alias : _builtAliases ) {
        _sources.insert( _sources.begin() + end++, alias.get() );
    }
    std::ranges::stable_sort( _sources.begin() + begin, _sources.begin() + end, std::greater(),
                              &InContextAliasBase::getPriority );
}

InVariableBase::Aliases InVariableBase::buildAliases() const {
    Aliases aliases;
    for( const Builders& builders : { builderKinds()._user, builderKinds()._app } ) {
        for( InContextAliasBuilder* const builder : builders ) {
            OPtr<InContextAliasBase> alias = builder->build( *this );
            if( alias ) {
                aliases.push_back( std::unique_ptr<InContextAliasBase>( alias.release() ) );
            }
        }
    }
    return aliases;
}

bool InVariableBase::takeValue( const InContextAliasBase& alias ) {
    if( !alias.isValid() ) {
        return false;
    }
    if( !setValue( alias.getValue() ) ) {
        report( *this, alias, "can't be read, the source is passed over" );
        return false;
    }
    if( InUtils::isDebuggingEnabled( TRACE_SOURCES_BIT ) ) {
        report( *this, alias, "is taken" );
    }
    return true;
}

void InVariableBase::registerAppContextAliasBuilders( InContextAliasBuilder* builder ) {
    QV_ASSERT( builder != 0 );
    builderKinds()._app.push_back( builder );
}

void InVariableBase::registerUserContextAliasBuilders( InContextAliasBuilder* builder ) {
    QV_ASSERT( builder != 0 );
    builderKinds()._user.push_back( builder );
}

void InVariableBase::unregisterAppContextAliasBuilders() {
    builderKinds()._app.clear();
}

void InVariableBase::unregisterUserContextAliasBuilders() {
    builderKinds()._user.clear();
}

} // namespace Qv
