// An output that does not outlast the wish to stop: what nobody takes is not waited for any longer.
#pragma once

#include <streambuf>
#include <string>

#include "nexthop_rows/stopSignals.h"

namespace NexthopRows {

/// Collects text and writes it at each flush. A stream over it, with badbit among its exceptions, then throws Stopped
/// when `stop` is readable while the file takes no more, and BadInput, naming it, when the file cannot be written to.
/// What was not flushed is dropped at the end.
class Output : public std::streambuf
{
public:
   /// Writes to the file descriptor, which must stay open as long.
   Output(int fd, std::string name, StopFd stop) : fd_(fd), name_(std::move(name)), stop_(stop) {}

   int fd() const { return fd_; }

protected:
   int sync() override;
   int_type overflow(int_type character) override;
   std::streamsize xsputn(const char* text, std::streamsize length) override;

private:
   int fd_;
   std::string name_;
   StopFd stop_;
   std::string text_;
};

} // namespace NexthopRows
