// Parses the JSON files named on the command line with nlohmann-json and nothing else: what nexthop-rows is compared
// to.
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

int main(int argc, char** argv)
{
   std::size_t objects = 0;
   for (int i = 1; i < argc; ++i)
      objects += nlohmann::json::parse(std::ifstream(argv[i])).size();
   std::printf("%zu objects\n", objects);
}
