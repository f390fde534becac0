#include <resmgt/threads/mtUtil.h>

#include <base/failure/assertions.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/lgTrace.h>
#include <resmgt/threads/src/mtSystemFacts.h>
#include <resmgt/threads/src/mtThreadTrace.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace Qv {

namespace {

const EnvIntVar noRealTime( __FILE__, "QV_THREAD_NO_REALTIME", 1 );

constexpr std::size_t LINE_SIZE = 256;
// What a line has beside a text: the name in its field, blanks, the line's and the text's end.
constexpr std::size_t NB_FIXED_CHARACTERS = 43;

/// A report of lines with a name and a value each.
class Report {
public:
    void addHeader( const char* text ) { _stream << text; }
    void add( const char* name, int value ) { addFormatted( "%-40s %10d\n", name, value ); }
    void add( const char* name, long long value ) { addFormatted( "%-40s %10lld\n", name, value ); }
    void add( const char* name, const char* val ) {
        QV_ASSERT( std::strlen( val ) + 43 <= 256 );
        addFormatted( "%-40s %s\n", name, val );
    }
    std::ostringstream& getStream() { return _stream; }

private:
    static_assert( NB_FIXED_CHARACTERS == 43 && LINE_SIZE == 256, "the assertion's text has them" );

    template <class Value>
    void addFormatted( const char* format, const char* name, Value value ) {
        std::array<char, LINE_SIZE> line{};
        std::snprintf( line.data(), line.size(), format, name, value );
        _stream << line.data();
    }

    std::ostringstream _stream;
};

void addSystem( Report& report, const MtSystemFacts& facts ) {
    report.addHeader( "System Info\n" );
    report.add( "ProcessorArchitecture", facts.processorArchitecture );
    report.add( "PageSize", facts.pageSize );
    report.add( "MinimumApplicationAddress", facts.minimumApplicationAddress );
    report.add( "MaximumApplicationAddress", facts.maximumApplicationAddress );
    report.add( "ActiveProcessorMask", facts.activeProcessorMask );
    report.add( "NumberOfProcessors", facts.numberOfProcessors );
    report.add( "ProcessorType", facts.processorType );
    report.add( "AllocationGranularity", facts.allocationGranularity );
    report.add( "ProcessorLevel", facts.processorLevel );
    report.add( "ProcessorRevision", facts.processorRevision );
}

void addVersion( Report& report, const MtSystemFacts& facts ) {
    report.addHeader( "OS Version\n" );
    report.add( "dwMajorVersion", facts.majorVersion );
    report.add( "dwMinorVersion", facts.minorVersion );
    report.add( "dwBuildNumber", facts.buildNumber );
    report.add( "dwPlatformId", facts.platformId );
    report.add( "CSDVersion", facts.version.c_str() );
}

} // namespace

bool MtUtil::isRealTimeDisabled() {
    return noRealTime.getValue() > 0;
}

void MtUtil::printSysConf() {
    const MtSystemFacts facts = MtSystemFacts::get();
    Report report;
    addSystem( report, facts );
    addVersion( report, facts );
    report.addHeader( "Other Info\n" );
    report.add( "TLS_MINIMUM_AVAILABLE", facts.nbThreadLocalSlots );
    report.add( "CLOCKS_PER_SEC", facts.clocksPerSecond );
    LgTrace::print( report.getStream().str().c_str() );
}

void MtUtil::lockProcessMemory() noexcept {
    MtThreadTrace::print( QV_HERE, "Process memory not locked, not available under NT4.0." );
}

void MtUtil::unlockProcessMemory() noexcept {}

void MtUtil::setSystemScopeDefault( bool ) noexcept {}

void MtUtil::setFifoScheduledDefault( bool ) noexcept {}

} // namespace Qv
