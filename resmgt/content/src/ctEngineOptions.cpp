#include <resmgt/content/ctEngineOptions.h>

#include <resmgt/initVars/envVar.h>

namespace Qv {

namespace {

const CtEngineOptions defaults;

const EnvIntVar asyncThreads( __FILE__, "QV_CONTENT_NB_ASYNC_THREADS", defaults.nbAsyncThreads );
const EnvIntVar asyncPrioThreads( __FILE__, "QV_CONTENT_NB_ASYNC_PRIO_THREADS",
                                  defaults.nbAsyncPrioThreads );
const EnvIntVar syncPrioRequests( __FILE__, "QV_CONTENT_NB_SYNC_PRIO_REQUESTS",
                                  defaults.nbSyncPrioRequests );
const EnvIntVar maxNbOpenFiles( __FILE__, "QV_MAX_NB_OPEN_FILES", 1024 );

} // namespace

CtEngineOptions CtEngineOptions::getConfigured() noexcept {
    return { asyncThreads.getValue(), asyncPrioThreads.getValue(), syncPrioRequests.getValue() };
}

int CtEngineOptions::getMaxNbOpenFiles() noexcept {
    return maxNbOpenFiles.getValue();
}

} // namespace Qv
