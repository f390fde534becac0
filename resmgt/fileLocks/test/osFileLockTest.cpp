#include <resmgt/fileLocks/osFileLock.h>
