#pragma once

#include <base/failure/exSysError.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctFileServer.h>
#include <resmgt/osal/osFileEx.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Qv::Comp {

/// The media cache of a user's commands: the folder `qvcomp-<user id>` in the scratch folder, which
/// nobody else may enter. What dead commands have left there goes at the start.
///
/// Errors: Failure that names the scratch folder.
class TileCache {
public:
    struct Settings {
        OsFilePath scratchFolder;
        /// Whether transfers bypass the system's file cache, where the volume can.
        bool isUnbuffered;
        /// Of the files together, in bytes.
        std::optional<std::uint64_t> limit;
    };

    explicit TileCache( const Settings& settings );

    CtFileServer& getServer() const noexcept { return *_server; }

    /// Does what may use the server; what the disk has against that is raised as a Failure.
    template <class Operation>
    auto access( const Operation& operation ) const {
        try {
            return operation();
        } catch( const CtEx& failure ) {
            raise( failure );
        } catch( const OsFileEx::ExInvalidPath& failure ) {
            raise( failure );
        } catch( const ExSysError& failure ) {
            raise( failure );
        }
    }

    /// The most, in bytes, by which memory is aligned for the transfers.
    static std::size_t getAlignment( bool isUnbuffered ) noexcept;

private:
    /// The most that the files may take, in bytes, and who said so.
    struct Bound {
        std::uint64_t bytes;
        const char* name;
    };

    static Bound getBound( const Settings& settings );
    std::unique_ptr<CtFileServer> makeServer( const OsFilePath& folder, bool isUnbuffered ) const;
    void start( const OsFilePath& folder );
    [[noreturn]] void raise( const ExBase& failure ) const;

    const Settings _settings;
    const Bound _bound;
    /// As text: a path fills a cache when it prints itself, which threads mustn't do at once.
    const std::string _scratchFolder;
    std::unique_ptr<CtFileServer> _server;
};

} // namespace Qv::Comp
