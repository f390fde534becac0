#include <resmgt/content/test/ctTestCache.h>
