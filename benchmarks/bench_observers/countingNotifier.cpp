#include <benchmarks/bench_observers/countingNotifier.h>

using namespace Qv;

namespace {

class CountingNotifier final : public ObNotifierAny {
public:
    void notifyObserver( ObObserverAny* observer, const ObHints& ) override {
        ++static_cast<CountingObserver*>( observer )->_nbCalls;
    }
    void relationRemovedFromSubject( ObObserverAny*, ObSubjectAny* ) override {}
    void relationRemoved( ObObserverAny*, ObSubjectAny* ) override {}
};

} // namespace

OPtr<ObNotifierAny> makeCountingNotifier() {
    return OPtr<ObNotifierAny>( new CountingNotifier );
}
