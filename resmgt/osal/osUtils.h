#pragma once

#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// The process, its user and its machine.
///
/// Errors:  a failed system call raises ExSysErrorWindows with the operation.
/// Threads: any.
class QV_RESMGT_API OsUtils {
public:
    OsUtils() = delete;

    static int getPid();
    /// The full path of the running executable, also after its file was removed. One that no path
    /// can name, since a name in it holds a back-slash, raises OsFileEx::ExInvalidPath.
    static OsFilePath getModulePath();
    /// The executable's file name, any bytes.
    static std::string getModuleName();

    /// The account with whose rights the process runs. One that has no name on this machine is
    /// given by its number.
    static std::string getPidUserName();
    /// True: the account that started the process, whatever rights the executable gives; named as
    ///       above. False: the name that the session goes by, which is what the environment gives
    ///       in
    /// LOGNAME, else in USER; where both are unset or empty the same as true.
    static std::string getUserName( bool isAccount );
    static std::string getHostName();
    /// The hardware address of the first network interface in the form "00:1a:2b:3c:4d:5e". One
    /// that the hardware's maker gave goes before those that software made up; empty if there is
    /// none.
    static std::string getMacAddress();

    /// Blocks the calling thread for the whole of so many seconds, whatever signals come.
    static void sleep( unsigned int seconds );
    /// Ends the process with the status 1: no exit handler, no destructor, no other thread runs,
    /// and no stream is flushed. For a crashed process.
    [[noreturn]] static void exitOnCrash();

private:
    static std::string performGetUserName();
};

} // namespace Qv
