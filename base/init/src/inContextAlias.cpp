#include <base/init/inContextAlias.h>

#include <base/failure/assertions.h>
#include <base/init/inContextAliasBuilder.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/inEx.h>

#include <cstdlib>

namespace Qv {

namespace {

std::unique_ptr<char[]> copyOf( const char* text ) {
    return std::unique_ptr<char[]>( text != nullptr ? InUtils::strdup( text ).release() : nullptr );
}

} // namespace

InContextAliasBuilder::~InContextAliasBuilder() = default;

InContextAliasBase::InContextAliasBase( const char* key, const char* description )
    : _key( copyOf( key ) )
    , _description( copyOf( description ) ) {}

InContextAliasBase::InContextAliasBase( const InContextAliasBase& other )
    : _key( copyOf( other._key.get() ) )
    , _description( copyOf( other._description.get() ) )
    , _value( copyOf( other._value.get() ) )
    , _isInitialized( other._isInitialized ) {}

InContextAliasBase::~InContextAliasBase() = default;

void InContextAliasBase::dumpUnasked( std::ostream& ) const {}

const char* InContextAliasBase::getKey() const {
    return _key.get();
}

void InContextAliasBase::initialize( const char* value ) {
    _value = copyOf( value );
    _isInitialized = true;
}

void InContextAliasBase::finalize() noexcept {
    _value.reset();
    _isInitialized = false;
}

class InContextAliasKeys::Entry {
public:
    Entry( Set& keys, const char* key )
        : _keys( &keys )
        , _key( InUtils::strdup( key ) ) {
        if( !_keys->insert( _key.get() ).second ) {
            throw InEx::ExContextAliasAlreadyDefined( QV_HERE, key );
        }
    }
    Entry( const Entry& ) = delete;
    Entry& operator=( const Entry& ) = delete;
    // Nobody is there to catch a failure: it ends the process.
    ~Entry() { QV_ASSERT( _keys->erase( _key.get() ) == 1 ); }

private:
    Set* const _keys;
    const APtr<char> _key;
};

std::shared_ptr<const InContextAliasKeys::Entry> InContextAliasKeys::add( const char* key ) {
    QV_ASSERT( *key != 0 );
    return std::make_shared<const Entry>( _keys, key );
}

void InInitEnv::initialize( InContextAliasBase& alias ) {
    alias.initialize( std::getenv( alias.getKey() ) );
}

void InInitDef::initialize( InContextAliasBase& alias ) {
    alias.initialize( alias.getKey() );
}

void InInitArg::initialize( InContextAliasBase& alias ) {
    alias.initialize( InContextAliasMgrBase::getArgument( alias.getKey() ) );
}

InContextAliasKeys& InInitArg::getKeys() {
    // Aliases leave it in static destructors, so it has none.
    static InContextAliasKeys* const keys = new InContextAliasKeys;
    return *keys;
}

} // namespace Qv
