// Any bytes are a sequence of operations; a row that differs from its model ends the run by an uncaught exception.
#include "tests/support/sequence.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   Test::Sequence().run({data, size});
   return 0;
}
