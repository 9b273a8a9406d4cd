#include "nexthop_rows/rowFile.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "nexthop_rows/jsonSource.h"
#include "rowtype/canonical.h"

namespace NexthopRows {

namespace {

constexpr std::string_view magic = "nexthop-rows file 1: ";
constexpr std::string_view magicEnd = " rows\n";

/// The CRC-32 of Ethernet frames, as eight hexadecimal digits.
std::string checksum(std::string_view bytes)
{
   std::uint32_t crc = ~0U;
   for (const char byte : bytes) {
      crc ^= static_cast<unsigned char>(byte);
      for (int bit = 0; bit < 8; ++bit)
         crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xedb88320U : 0U);
   }
   std::string text;
   for (int shift = 28; shift >= 0; shift -= 4)
      text += "0123456789abcdef"[~crc >> shift & 0xf];
   return text;
}

template <class Row>
void appendRow(std::string& text, const Row& row)
{
   const auto canonical = Zorva::canonicalBytes<Row>(row);
   const std::string bytes(canonical.begin(), canonical.end());
   text += Row::rowTypeName() + ' ' + std::to_string(bytes.size()) + ' ' + checksum(bytes) + '\n' + bytes + '\n';
}

/// A new file beside the one it is to replace, removed unless it did.
class ReplacementFile
{
public:
   explicit ReplacementFile(const std::string& path)
      : path_(path), temporary_(path + '.' + std::to_string(getpid()) + ".tmp"),
        fd_(open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666))
   {
      if (fd_ == -1)
         throwFailed(temporary_);
      struct stat before = {};
      if (stat(path.c_str(), &before) == 0)
         fchmod(fd_, before.st_mode & 07777); // or it stays what a new file is
   }
   ReplacementFile(const ReplacementFile&) = delete;
   ReplacementFile& operator=(const ReplacementFile&) = delete;

   ~ReplacementFile()
   {
      if (fd_ != -1)
         close(fd_);
      if (!isInPlace_)
         unlink(temporary_.c_str());
   }

   void write(std::string_view text)
   {
      while (!text.empty()) {
         const ssize_t written = ::write(fd_, text.data(), text.size());
         if (written == -1 && errno != EINTR)
            throwFailed(temporary_);
         text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
      }
   }

   /// Puts the file in its place, its bytes being on the disk by then.
   void commit()
   {
      if (fsync(fd_) != 0 || close(std::exchange(fd_, -1)) != 0)
         throwFailed(temporary_);
      if (rename(temporary_.c_str(), path_.c_str()) != 0)
         throwFailed(path_);
      isInPlace_ = true;
   }

private:
   [[noreturn]] static void throwFailed(const std::string& path)
   {
      throw std::runtime_error(path + ": " + std::strerror(errno));
   }

   std::string path_;
   std::string temporary_;
   int fd_;
   bool isInPlace_ = false;
};

class Reader
{
public:
   explicit Reader(Source file) : file_(std::move(file)), rest_(file_.text) {}

   Tables read()
   {
      if (!rest_.starts_with(magic))
         damaged(0, "no file of rows, which begin with \"" + std::string(magic) + '"');
      rest_.remove_prefix(magic.size());
      const std::size_t rows = number(magicEnd);
      Tables tables;
      for (std::size_t i = 0; i < rows; ++i) {
         const std::size_t at = position();
         const std::string_view type = word(" ");
         if (type == NexthopInfoRow::rowTypeName())
            readRow<NexthopInfoRow>(tables.nexthops);
         else if (type == EcmpMemberListRow::rowTypeName())
            readRow<EcmpMemberListRow>(tables.groups);
         else
            damaged(at, "unknown row type");
      }
      if (!rest_.empty())
         damaged(position(), "bytes behind the last row");
      return tables;
   }

private:
   template <class Row>
   void readRow(Table& table)
   {
      const std::size_t length = number(" ");
      const std::string_view crc = word("\n");
      const std::size_t at = position();
      if (length >= rest_.size())
         damaged(at, "the row has " + std::to_string(length) + " bytes, the rest of the file " +
                        std::to_string(rest_.size()));
      const std::string_view bytes = rest_.substr(0, length);
      if (crc != checksum(bytes))
         damaged(at, "the row's checksum is " + checksum(bytes));
      rest_.remove_prefix(length);
      if (!rest_.starts_with('\n'))
         damaged(position(), "no line feed behind the row");
      rest_.remove_prefix(1);
      try {
         const Row row = Row::fromBytes({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
         if (!table.insert(row))
            damaged(at, "a second row with id " + std::to_string(row.id()));
      } catch (const Zorva::ZoBadCast& bad) {
         damaged(at, bad.what());
      }
   }

   /// What stands before `end`, which is taken too.
   std::string_view word(std::string_view end)
   {
      const std::size_t length = rest_.find(end);
      if (length == std::string_view::npos)
         damaged(file_.text.size(), "the file ends too early");
      const std::string_view text = rest_.substr(0, length);
      rest_.remove_prefix(length + end.size());
      return text;
   }

   std::size_t number(std::string_view end)
   {
      const std::size_t at = position();
      const std::string_view text = word(end);
      std::size_t value = 0;
      const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error != std::errc() || stop != text.data() + text.size())
         damaged(at, "no number");
      return value;
   }

   std::size_t position() const { return file_.text.size() - rest_.size(); }

   [[noreturn]] void damaged(std::size_t at, const std::string& reason) const
   {
      throw BadInput(file_.name + ": damaged at byte " + std::to_string(at) + ": " + reason);
   }

   Source file_;
   std::string_view rest_; ///< of the file's text
};

} // namespace

void saveRows(const Tables& tables, const std::string& path)
{
   std::string text = std::string(magic) + std::to_string(tables.size());
   text += magicEnd;
   forEachRow(tables, [&](const auto& row) { appendRow(text, row); });

   if (path == standardFile) {
      std::cout << text;
      return;
   }
   std::error_code none;
   const std::filesystem::path target = std::filesystem::canonical(path, none); // the file that a link leads to
   if (!none && !std::filesystem::is_regular_file(target))
      throw std::runtime_error(path + ": not a file that can be replaced");
   ReplacementFile file(none ? path : target.string());
   file.write(text);
   file.commit();
}

Tables loadRows(const std::string& path)
{
   if (path != standardFile)
      return Reader(readFile(path)).read();
   std::ostringstream text;
   if (std::cin.peek() != std::istream::traits_type::eof())
      text << std::cin.rdbuf();
   return Reader({nameOfFile(path), std::move(text).str()}).read();
}

} // namespace NexthopRows
