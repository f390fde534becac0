#pragma once

#include <resmgt/observers/obChangeManagerImp.h>
#include <resmgt/observers/obObserverAny.h>
#include <resmgt/observers/obSubjectAny.h>
#include <tests/support/dumpOf.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Qv {

class TestSubject : public ObSubjectAny {
public:
    explicit TestSubject( std::string name )
        : _name( std::move( name ) ) {}
    const std::string _name;
};

/// Runs a test's function in its calls.
class TestObserver : public ObObserverAny {
public:
    explicit TestObserver( std::string name )
        : _name( std::move( name ) ) {}
    const std::string _name;
    std::function<void( const ObHints& )> _act;
};

/// Keeps its calls as texts: "name", "-name subject" for an ended relation, "!name subject" for a
/// subject's last one.
class TestNotifier : public ObNotifierAny {
public:
    void notifyObserver( ObObserverAny* observer, const ObHints& hints ) override {
        auto* const called = static_cast<TestObserver*>( observer );
        keep( called->_name );
        if( called->_act ) {
            called->_act( hints );
        }
    }
    void relationRemovedFromSubject( ObObserverAny* observer, ObSubjectAny* subject ) override {
        note( '!', observer, subject );
    }
    void relationRemoved( ObObserverAny* observer, ObSubjectAny* subject ) override {
        note( '-', observer, subject );
    }

    /// What came since it was asked last, separated by blanks.
    std::string takeLog() {
        const std::lock_guard guard( _mutex );
        std::string log;
        for( const std::string& entry : std::exchange( _entries, {} ) ) {
            log += ( log.empty() ? "" : " " ) + entry;
        }
        return log;
    }

    std::function<void()> _whenTold;

private:
    void keep( std::string entry ) {
        const std::lock_guard guard( _mutex );
        _entries.push_back( std::move( entry ) );
    }
    void note( char what, ObObserverAny* observer, ObSubjectAny* subject ) {
        keep( what + static_cast<TestObserver*>( observer )->_name + '@' +
              static_cast<TestSubject*>( subject )->_name );
        if( _whenTold ) {
            _whenTold();
        }
    }

    std::mutex _mutex;
    std::vector<std::string> _entries;
};

/// A manager with its notifier, two subjects and three observers.
struct ObFixture {
    std::string notify( TestSubject& subject ) {
        _manager.notify( &subject, {} );
        return _notifier->takeLog();
    }
    std::string dump() const { return dumpOf( _manager ); }

    TestNotifier* const _notifier = new TestNotifier;
    ObChangeManagerImp _manager{ OPtr<ObNotifierAny>( _notifier ) };
    TestSubject _s{ "s" };
    TestSubject _t{ "t" };
    TestObserver _a{ "a" };
    TestObserver _b{ "b" };
    TestObserver _c{ "c" };
};

} // namespace Qv
