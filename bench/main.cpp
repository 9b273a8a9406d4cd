// The benchmark program: Google Benchmark's command line, and --second-thread, which keeps a second thread alive while
// the cases run: reference counts are atomic then.
#include <malloc.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <stop_token>
#include <thread>

#include "bench/support.h"

int main(int argc, char** argv)
{
   // Memory comes from the heap and stays there: no case pays for the kernel's pages.
   mallopt(M_MMAP_THRESHOLD, 1 << 30);
   mallopt(M_TRIM_THRESHOLD, 2147483647);

   char** const flag = std::find_if(argv, argv + argc, [](auto* arg) { return !std::strcmp(arg, "--second-thread"); });
   std::jthread second;
   if (flag != argv + argc) {
      std::rotate(flag, flag + 1, argv + argc);
      --argc;
      second = std::jthread([](std::stop_token stop) {
         std::mutex mutex;
         std::unique_lock lock(mutex);
         std::condition_variable_any().wait(lock, stop, [] { return false; });
      });
   }
   Bench::registerNexthopCases();
   Bench::registerEcmpCases();
   Bench::registerTextCases();
   Bench::registerTableCases();
   Bench::registerPeerCases();
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv))
      return 2;
   benchmark::RunSpecifiedBenchmarks();
}
