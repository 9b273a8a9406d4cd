// What a terminal is given that a pipe or a file is not: colour, and a line that says what takes long.
#pragma once

#include <condition_variable>
#include <mutex>
#include <streambuf>
#include <string>
#include <thread>

namespace NexthopRows {

/// Whether the file descriptor is a terminal on which a line can be rewritten. (TERM=dumb is none.)
bool isScreen(int fd);

/// Whether text that goes to it may be coloured: as isScreen, and NO_COLOR is not set, or empty.
bool isColoured(int fd);

/// While it lives, standard error says what is going on, in a line that is rewritten every second from the first second
/// on and vanishes in the end. Nothing unless that is a screen. What is written through std::cerr meanwhile stands
/// above the line. One at a time.
class Progress : private std::streambuf
{
public:
   /// `what` is going on, "reading FOLDER".
   explicit Progress(std::string what);
   Progress(const Progress&) = delete;
   Progress& operator=(const Progress&) = delete;
   ~Progress() override;

private:
   void run();
   void draw(int seconds);
   void clear();
   int_type overflow(int_type character) override;
   std::streamsize xsputn(const char* text, std::streamsize length) override;

   std::string what_;
   std::streambuf* errors_ = nullptr; ///< those of std::cerr; null: nothing is said
   std::mutex mutex_;                 ///< of all below
   std::condition_variable atEnd_;
   bool isAtEnd_ = false;
   bool isShown_ = false;
   bool isAtLineStart_ = true;
   std::thread thread_;
};

} // namespace NexthopRows
