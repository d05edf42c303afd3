/* Compiles every public header as C11, with warnings as errors. */
#include <zul/zul.h>
