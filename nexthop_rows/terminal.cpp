#include "nexthop_rows/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <utility>

#include "nexthop_rows/notes.h"
#include "nexthop_rows/stopSignals.h"

namespace NexthopRows {

namespace {

std::string_view environment(const char* name)
{
   const char* const value = std::getenv(name);
   return value != nullptr ? value : "";
}

} // namespace

bool isScreen(int fd) { return isatty(fd) == 1 && environment("TERM") != "" && environment("TERM") != "dumb"; }

bool isColoured(int fd) { return isScreen(fd) && environment("NO_COLOR").empty(); }

Progress::Progress(std::string what) : what_(std::move(what))
{
   if (!isScreen(STDERR_FILENO))
      return;
   errors_ = std::cerr.rdbuf(this);
   const HeldSignals held; // they are for the thread that works, which may hold them back
   thread_ = std::thread([this] { run(); });
}

Progress::~Progress()
{
   if (errors_ == nullptr)
      return;
   {
      const std::lock_guard lock(mutex_);
      isAtEnd_ = true;
   }
   atEnd_.notify_one();
   thread_.join();
   clear();
   std::cerr.rdbuf(errors_);
}

void Progress::run()
{
   std::unique_lock lock(mutex_);
   for (int seconds = 1; !atEnd_.wait_for(lock, std::chrono::seconds(1), [this] { return isAtEnd_; }); ++seconds)
      if (isAtLineStart_)
         draw(seconds);
}

void Progress::draw(int seconds)
{
   const std::string line = programName + what_ + ", " + std::to_string(seconds) + " s";
   winsize size{};
   const std::size_t columns = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
   const std::string shown = "\r" + line.substr(0, columns - 1) + "\033[K";
   errors_->sputn(shown.data(), static_cast<std::streamsize>(shown.size()));
   errors_->pubsync();
   isShown_ = true;
}

void Progress::clear()
{
   if (std::exchange(isShown_, false)) {
      errors_->sputn("\r\033[K", 4);
      errors_->pubsync();
   }
}

Progress::int_type Progress::overflow(int_type character)
{
   const char text = traits_type::to_char_type(character);
   return traits_type::eq_int_type(character, traits_type::eof()) || xsputn(&text, 1) == 1
             ? traits_type::not_eof(character)
             : traits_type::eof();
}

std::streamsize Progress::xsputn(const char* text, std::streamsize length)
{
   const std::lock_guard lock(mutex_);
   clear();
   if (length > 0)
      isAtLineStart_ = text[length - 1] == '\n';
   return errors_->sputn(text, length);
}

} // namespace NexthopRows
