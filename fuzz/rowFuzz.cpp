// Any bytes as a row: the first byte says of which type, and where in its buffer when it is put there by force.
#include "tests/support/hostile.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   constexpr void (*use[])(const Test::Bytes&, Zorva::len_t) = {
      Test::useBytes<Test::TestRow>, Test::useBytes<Test::EcmpMemberListRow>, Test::useBytes<Test::NexthopInfoRow>};
   if (size != 0)
      use[data[0] % 3]({data + 1, data + size}, data[0] / 3 % 8);
   return 0;
}
