#include <resmgt/initVars/envVarRegistry.h>

#include <base/failure/assertions.h>
#include <base/text/printable.h>
#include <resmgt/initVars/envVar.h>

#include <new>
#include <ostream>
#include <set>
#include <string>

namespace Qv {

namespace {

class EnvVarRegistryImp final : public EnvVarRegistry {
public:
    void dump( std::ostream& stream ) const override;
    void dumpHtml( std::ostream& stream ) const override;
};

// Constant-initialised: the first variable may be built before anything else of this file.
EnvVarRegistryImp* instance = nullptr;
bool wasBuilt = false;
// What the instance lists. It stays when the instance goes: file-level variables, which are built
// once, are listed again after the next start.
std::set<const EnvVar*>* listed = nullptr;

std::string escapeHtml( const char* text ) {
    std::string result;
    for( const char c : Printable::makeText( text ) ) {
        switch( c ) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

void dumpCell( std::ostream& stream, const char* text ) {
    stream << "<td align=left>" << escapeHtml( text ) << "</td>\n";
}

void EnvVarRegistryImp::dump( std::ostream& stream ) const {
    for( const EnvVar* variable : *listed ) {
        stream << *variable << '\n';
    }
}

void EnvVarRegistryImp::dumpHtml( std::ostream& stream ) const {
    stream << "<html>\n<body>\n<table border=1>\n"
              "<tr>\n<th colspan=3>Environnement Variables</th>\n</tr>\n<tr>\n";
    for( const char* heading : { "Name", "Value", "File" } ) {
        stream << "<td align=center><font size=+1>" << heading << "</font></td>\n";
    }
    stream << "</tr>\n";
    for( const EnvVar* variable : *listed ) {
        stream << "<tr>\n";
        dumpCell( stream, variable->getName() );
        dumpCell( stream, variable->getText() != nullptr ? variable->getText() : "(null)" );
        dumpCell( stream, variable->getFileName() );
        stream << "</tr>\n";
    }
    stream << "</table>\n</body>\n</html>\n";
}

} // namespace

EnvVarRegistry::~EnvVarRegistry() = default;

void EnvVarRegistry::initialize() {
    if( listed == nullptr ) {
        listed = new std::set<const EnvVar*>;
    }
    if( instance == nullptr ) {
        instance = new EnvVarRegistryImp;
    }
    wasBuilt = true;
}

void EnvVarRegistry::finalize() {
    delete instance;
    instance = nullptr;
}

EnvVarRegistry& EnvVarRegistry::getInstance() {
    QV_ASSERT_TEXT( instance != nullptr, "instance != 0" );
    return *instance;
}

void EnvVarRegistry::enroll( const EnvVar& variable ) noexcept {
    try {
        if( !wasBuilt ) {
            initialize();
        }
        if( instance != nullptr ) {
            listed->insert( &variable );
        }
    } catch( const std::bad_alloc& ) {
        // A variable that isn't listed serves its code all the same.
    }
}

void EnvVarRegistry::withdraw( const EnvVar& variable ) noexcept {
    if( listed != nullptr ) {
        listed->erase( &variable );
    }
}

std::ostream& operator<<( std::ostream& stream, const EnvVarRegistry& registry ) {
    QV_ASSERT_TEXT( instance != nullptr, "instance != 0" );
    registry.dump( stream );
    return stream;
}

} // namespace Qv
