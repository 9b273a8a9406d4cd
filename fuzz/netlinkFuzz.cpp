// Any bytes as the kernel's messages: rows that follow each of them are those that follow all of them at once.
#include "tests/support/netlink.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   Test::Followed kernel;
   kernel.apply({data, data + size});
   if (!kernel.unlikeAtOnce().empty())
      __builtin_trap();
   return 0;
}
