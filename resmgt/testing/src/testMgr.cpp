#include <resmgt/testing/testMgr.h>

#include <base/debug/hmGC.h>
#include <base/failure/exBase.h>
#include <pluginAPI/pxRequestMgr.h>

#include <exception>
#include <ostream>

namespace Qv {

namespace {

/// Which of the names have been found.
class Choice {
public:
    explicit Choice( const std::vector<std::string>& names )
        : _names( names )
        , _isFound( names.size() ) {}

    bool has( const std::string& group, const std::string& test ) {
        bool isChosen = _names.empty();
        for( std::size_t index = 0; index < _names.size(); ++index ) {
            if( _names[index] == group || _names[index] == group + '.' + test ) {
                _isFound[index] = true;
                isChosen = true;
            }
        }
        return isChosen;
    }
    int reportUnknown( std::ostream& report ) const {
        int nbUnknown = 0;
        for( std::size_t index = 0; index < _names.size(); ++index ) {
            if( !_isFound[index] ) {
                report << "unknown " << _names[index] << '\n';
                ++nbUnknown;
            }
        }
        return nbUnknown;
    }

private:
    const std::vector<std::string>& _names;
    std::vector<bool> _isFound;
};

} // namespace

TestMgr::TestMgr() {
    setTestRunning();
}

TestMgr::~TestMgr() = default;

void TestMgr::add( const TestGroup& group ) {
    _groups.push_back( &group );
}

std::string TestMgr::perform( const TestGroup::Test& test, std::ostream& report ) const {
    std::string failure;
    const auto attempt = [&failure]( const auto& act ) {
        try {
            act();
        } catch( const ExBase& exception ) {
            failure += std::string( " " ) + exception.getDetailedReason();
        } catch( const std::exception& exception ) {
            failure += std::string( " " ) + exception.what();
        } catch( ... ) {
            failure += " something that is no exception";
        }
    };
    HmGC leaks( _isLeakCheckOn );
    leaks.setOutput( &report );
    leaks.setThrowException( true );
    attempt( test.body );
    attempt( [] {
        if( PxRequestMgr::isInitialized() ) {
            PxRequestMgr::getInstance().drain();
        }
    } );
    // The texts of failures are no leak.
    leaks.setThrowException( failure.empty() );
    attempt( [&leaks] { leaks.setActive( false ); } );
    return failure;
}

int TestMgr::run( const std::vector<std::string>& names, std::ostream& report ) const {
    Choice choice( names );
    int nbRun = 0;
    int nbFailed = 0;
    for( const TestGroup* const group : _groups ) {
        for( const TestGroup::Test& test : group->getTests() ) {
            if( choice.has( group->getName(), test.name ) ) {
                const std::string failure = perform( test, report );
                report << ( failure.empty() ? "passed " : "FAILED " ) << group->getName() << '.'
                       << test.name << ( failure.empty() ? "" : ":" ) << failure << '\n';
                ++nbRun;
                nbFailed += failure.empty() ? 0 : 1;
            }
        }
    }
    nbFailed += choice.reportUnknown( report );
    report << nbRun << " tests, " << nbFailed << " failures\n";
    return nbFailed;
}

} // namespace Qv
