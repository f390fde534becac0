#include <resmgt/osal/osFilePath.h>

#include <base/failure/assertions.h>
#include <base/text/ascii.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/osal/osFileEx.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <ostream>

namespace Qv {

namespace {

constexpr bool isSeparator( char character ) {
    return character == '/' || character == '\\';
}

/// A name that at the start of a text would be a drive's root.
constexpr bool isDrive( std::string_view name ) {
    return name.size() == 2 && Ascii::isLetter( name[0] ) && name[1] == ':';
}

bool beginsWithDriveRoot( std::string_view text ) {
    return isDrive( text.substr( 0, 2 ) ) && ( text.size() == 2 || isSeparator( text[2] ) );
}

bool beginsWithRoot( std::string_view text ) {
    return !text.empty() && ( isSeparator( text[0] ) || beginsWithDriveRoot( text ) );
}

// A component that is a root ends with a separator and no name does.
bool isRootComponent( std::string_view component ) {
    return component.back() == '/';
}

bool isUncRoot( std::string_view component ) {
    return component.starts_with( "//" );
}

std::size_t skipSeparators( std::string_view text, std::size_t position ) {
    while( position < text.size() && isSeparator( text[position] ) ) {
        ++position;
    }
    return position;
}

std::size_t findSeparator( std::string_view text, std::size_t position ) {
    while( position < text.size() && !isSeparator( text[position] ) ) {
        ++position;
    }
    return position;
}

/// The server's root in front of `text`, of which `root` becomes empty when no name follows the
/// separators. Returns how many characters it took.
std::size_t getUncRoot( std::string_view text, std::string& root ) {
    QV_ASSERT_TEXT( text.size() >= 2, "::strlen( path ) >= 2" );
    const std::size_t begin = skipSeparators( text, 2 );
    const std::size_t end = findSeparator( text, begin );
    if( begin == end ) {
        return 0;
    }
    root.assign( "//" ).append( text.substr( begin, end - begin ) ).push_back( '/' );
    return end;
}

std::size_t getAbsoluteRoot( std::string_view text, std::string& root ) {
    if( beginsWithDriveRoot( text ) ) {
        root = { Ascii::toUpper( text[0] ), ':', '/' };
        return 2;
    }
    if( text.size() >= 2 && isSeparator( text[0] ) && isSeparator( text[1] ) ) {
        if( const std::size_t size = getUncRoot( text, root ); size > 0 ) {
            return size;
        }
    }
    if( text.empty() || !isSeparator( text[0] ) ) {
        Assertions::throwProgramAborted( QV_HERE, "Internal error in getAbsoluteRoot" );
    }
    root = OsFilePath::getSeparator();
    return 1;
}

} // namespace

OsFilePath::OsFilePath( const std::string& text ) {
    parse( text );
}

OsFilePath::OsFilePath( const std::wstring& text ) {
    parse( WideStringUtil::narrowMB( text ) );
}

OsFilePath::OsFilePath( const char* text ) {
    if( text != nullptr ) {
        parse( text );
    }
}

OsFilePath::OsFilePath( const wchar_t* text ) {
    if( text != nullptr ) {
        parse( WideStringUtil::narrowMB( text ) );
    }
}

bool OsFilePath::isAbsolute() const {
    return !isEmpty() && isRootComponent( _components.front() );
}

bool OsFilePath::isRelative() const {
    return !isEmpty() && !isAbsolute();
}

bool OsFilePath::isRoot() const {
    return _components.size() == 1 && isAbsolute();
}

bool OsFilePath::isNative() const {
    return !isEmpty() && _components.front() != getSeparator();
}

const std::string& OsFilePath::getComponent( unsigned int index ) const {
    QV_ASSERT( index < getNbComponents() );
    return _components[index];
}

OsFilePath OsFilePath::getRoot() const {
    OsFilePath root;
    if( isAbsolute() ) {
        root._components.push_back( _components.front() );
    }
    return root;
}

const std::string& OsFilePath::toString() const {
    return _normalizedPath.get( [this] { return makeText(); } );
}

std::string OsFilePath::makeText() const {
    std::string text;
    if( isEmpty() ) {
        return text;
    }
    std::size_t size = 2;
    for( const std::string& component : _components ) {
        size += component.size() + 1;
    }
    text.reserve( size );
    if( isDrive( _components.front() ) ) {
        text = "./";
    }
    text += _components.front();
    if( isAbsolute() ) {
        QV_ASSERT_TEXT( text[text.size() - 1] == getSeparator()[0],
                        "_normalizedPath[ _normalizedPath.size() - 1 ] == "
                        "OsFilePath::getSeparator()[0]" );
    }
    for( std::size_t i = 1; i < _components.size(); ++i ) {
        if( i > 1 || !isAbsolute() ) {
            text += getSeparator();
        }
        text += _components[i];
    }
    return text;
}

const std::wstring& OsFilePath::toWString() const {
    return _normalizedPathW.get( [this] { return WideStringUtil::widen( toString() ); } );
}

std::ostream& OsFilePath::dump( std::ostream& stream ) const {
    return stream << toString();
}

std::wostream& OsFilePath::dump( std::wostream& stream ) const {
    return stream << toWString();
}

int OsFilePath::compare( const OsFilePath& other ) const {
    const std::size_t nbCommon = std::min( _components.size(), other._components.size() );
    for( std::size_t i = 0; i < nbCommon; ++i ) {
        if( const int order = _components[i].compare( other._components[i] ); order != 0 ) {
            return order < 0 ? -1 : 1;
        }
    }
    return _components.size() == other._components.size()  ? 0
           : _components.size() < other._components.size() ? -1
                                                           : 1;
}

OsFilePath& OsFilePath::operator+=( const OsFilePath& right ) {
    checkCanTake( right );
    // Each component of `right` climbs over one at most; as long as two more are left of this path,
    // what stands before them plays no part.
    const std::size_t nbChanged = std::min( _components.size(), right._components.size() + 2 );
    OsFilePath tail = slice( _components.size() - nbChanged, _components.size() );
    tail.addComponents( right, 0, right._components.size() );
    replaceLast( nbChanged, tail );
    return *this;
}

OsFilePath OsFilePath::operator+( const OsFilePath& right ) const {
    checkCanTake( right );
    OsFilePath sum;
    sum._components.reserve( _components.size() + right._components.size() );
    sum._components = _components;
    sum.addComponents( right, 0, right._components.size() );
    return sum;
}

void OsFilePath::checkCanTake( const OsFilePath& right ) const {
    if( !isEmpty() && right.isAbsolute() ) {
        throw OsFileEx::ExIllegalPathConcat( QV_HERE, "OsFilePath::operator+=", *this );
    }
}

/// Replaces the last `count` components by those of `by`, which it takes.
void OsFilePath::replaceLast( std::size_t count, OsFilePath& by ) {
    const std::size_t nbKept = _components.size() - count;
    const std::size_t size = nbKept + by._components.size();
    if( size > _components.capacity() ) {
        _components.reserve( std::max( size, 2 * _components.capacity() ) );
    }
    // Nothing fails from here on.
    _components.resize( nbKept );
    std::move( by._components.begin(), by._components.end(), std::back_inserter( _components ) );
    _normalizedPath.clear();
    _normalizedPathW.clear();
}

OsFilePath OsFilePath::getBaseName( BaseNameExtension extension ) const {
    OsFilePath baseName;
    if( isEmpty() ) {
        return baseName;
    }
    const std::string& name = _components.back();
    const std::size_t dot = extension == WITH_EXTENSION ? std::string::npos : name.rfind( '.' );
    if( dot != std::string::npos && isRootComponent( name ) ) {
        // What is left of a server's name is a server.
        baseName.parse( std::string_view( name ).substr( 0, dot ) );
    } else {
        baseName.addComponent( std::string_view( name ).substr( 0, dot ) );
    }
    return baseName;
}

OsFilePath OsFilePath::getDirectoryName() const {
    if( _components.size() == 1 ) {
        return isAbsolute() ? *this : OsFilePath( "." );
    }
    return isEmpty() ? OsFilePath() : slice( 0, _components.size() - 1 );
}

// Whether there is no last component that could bear an extension.
bool OsFilePath::hasNoName() const {
    return isEmpty() || isRoot() || _components.back() == "." || _components.back() == "..";
}

std::string OsFilePath::getExtension() const {
    if( hasNoName() ) {
        return {};
    }
    const std::string& name = _components.back();
    const std::size_t dot = name.rfind( '.' );
    return dot == std::string::npos || dot == 0 ? std::string() : name.substr( dot + 1 );
}

std::wstring OsFilePath::getExtensionW() const {
    return WideStringUtil::widen( getExtension() );
}

OsFilePath& OsFilePath::addExtension( const char* extension ) {
    if( extension != nullptr ) {
        appendExtension( extension );
    }
    return *this;
}

OsFilePath& OsFilePath::addExtension( const wchar_t* extension ) {
    if( extension != nullptr ) {
        appendExtension( WideStringUtil::narrowMB( extension ) );
    }
    return *this;
}

void OsFilePath::appendExtension( std::string_view extension ) {
    if( extension.empty() ) {
        return;
    }
    if( hasNoName() ) {
        throw OsFileEx::ExIllegalPathConcat( QV_HERE, "OsFilePath::addExtension", *this );
    }
    std::string name = _components.back();
    if( extension.front() != '.' ) {
        name += '.';
    }
    *this = withLastName( name.append( extension ) );
}

OsFilePath& OsFilePath::stripExtension() {
    if( !hasNoName() ) {
        const std::string_view name = _components.back();
        *this = withLastName( name.substr( 0, name.rfind( '.' ) ) );
    }
    return *this;
}

std::string OsFilePath::stripExtension( const std::string& text ) {
    return OsFilePath( text ).getBaseNameNoExt().toString();
}

OsFilePath OsFilePath::enforceExtension( const OsFilePath& path, const std::string& extension ) {
    const std::string present = path.getExtension();
    if( path.isEmpty() || present == extension ) {
        return path;
    }
    if( Ascii::equalsIgnoringCase( present, extension ) ) {
        // In one step, since what is left without an extension may be no name.
        const std::string_view name = path._components.back();
        const std::string_view stem = name.substr( 0, name.size() - present.size() );
        return path.withLastName( std::string( stem ) + extension );
    }
    OsFilePath enforced = path;
    enforced.appendExtension( extension );
    return enforced;
}

OsFilePath OsFilePath::getAbsolutePath() const {
    return isEmpty() || isAbsolute() ? *this : getCurrentDir() + *this;
}

void OsFilePath::parse( std::string_view text ) {
    if( beginsWithRoot( text ) ) {
        std::string root;
        const std::size_t size = getAbsoluteRoot( text, root );
        addComponent( root );
        text.remove_prefix( size );
    }
    addNames( text );
}

void OsFilePath::addNames( std::string_view text ) {
    for( std::size_t begin = skipSeparators( text, 0 ); begin < text.size(); ) {
        const std::size_t end = findSeparator( text, begin );
        addComponent( text.substr( begin, end - begin ) );
        begin = skipSeparators( text, end );
    }
}

// Keeps the normal form, peculiarities included: leading ".." don't accumulate.
void OsFilePath::addComponent( std::string_view name ) {
    if( name.empty() ) {
        return;
    }
    if( !isEmpty() ) {
        if( name == "." ) {
            return;
        }
        if( _components.back() == "." ) {
            _components.pop_back();
        }
    }
    if( name == ".." && climb() ) {
        return;
    }
    if( _components.size() == 1 && isUncRoot( _components.front() ) && completeUncRoot( name ) ) {
        return;
    }
    _components.emplace_back( name );
}

/// The components of `path` from `begin` up to `end`.
void OsFilePath::addComponents( const OsFilePath& path, std::size_t begin, std::size_t end ) {
    for( std::size_t i = begin; i < end; ++i ) {
        addComponent( path._components[i] );
    }
}

/// The components from `begin` up to `end`, as a path of their own.
OsFilePath OsFilePath::slice( std::size_t begin, std::size_t end ) const {
    OsFilePath part;
    part._components.assign( _components.begin() + static_cast<std::ptrdiff_t>( begin ),
                             _components.begin() + static_cast<std::ptrdiff_t>( end ) );
    return part;
}

/// Goes one component up. False when there is none to leave: an empty path and a root stay.
bool OsFilePath::climb() {
    if( isEmpty() || isRoot() ) {
        return false;
    }
    _components.pop_back();
    if( isEmpty() ) {
        _components.emplace_back( "." );
    }
    return true;
}

/// Makes `name` the share of a root that is a server alone. False when the root has a share.
bool OsFilePath::completeUncRoot( std::string_view name ) {
    std::string& UNCRoot = _components.front();
    QV_ASSERT_TEXT( UNCRoot.size() > 2 && UNCRoot[2] != getSeparator()[0] &&
                        UNCRoot[UNCRoot.size() - 1] == getSeparator()[0],
                    "UNCRoot.size() > 2 && UNCRoot[ 2 ] != OsFilePath::getSeparator()[ 0 ] && "
                    "UNCRoot[ UNCRoot.size() - 1 ] == OsFilePath::getSeparator()[ 0 ]" );
    if( UNCRoot.find( getSeparator()[0], 2 ) != UNCRoot.size() - 1 ) {
        return false;
    }
    UNCRoot.append( name ).push_back( getSeparator()[0] );
    return true;
}

/// This path with its last component replaced by what `name`, a text, is behind the others.
OsFilePath OsFilePath::withLastName( std::string_view name ) const {
    OsFilePath path = slice( 0, _components.size() - 1 );
    path.addNames( name );
    return path;
}

} // namespace Qv
