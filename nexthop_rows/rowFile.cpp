#include "nexthop_rows/rowFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <random>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/stopSignals.h"
#include "rowtype/canonical.h"

namespace NexthopRows {

namespace {

constexpr std::string_view magic = "nexthop-rows file 1: ";
constexpr std::string_view magicEnd = " rows"; // and a line feed

[[noreturn]] void throwDamaged(const std::string& file, std::size_t at, const std::string& reason)
{
   throw BadInput(file + ": damaged at byte " + std::to_string(at) + ": " + reason);
}

/// What eight bits shifted out make of the checksum, for each value of them: the polynomial of ITU-T V.42, 8.1.1.6.2,
/// its bits reversed.
constexpr auto crcOfByte = [] {
   std::array<std::uint32_t, 256> table{};
   for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
      std::uint32_t crc = byte;
      for (int bit = 0; bit < 8; ++bit)
         crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xedb88320U : 0U);
      table[byte] = crc;
   }
   return table;
}();

/// The CRC-32 of Ethernet frames, as eight hexadecimal digits. A byte at a time, as D. V. Sarwate has it, "Computation
/// of cyclic redundancy checks via table look-up", Communications of the ACM 31 (8), 1988.
std::string checksum(std::string_view bytes)
{
   std::uint32_t crc = ~0U;
   for (const char byte : bytes)
      crc = crc >> 8 ^ crcOfByte[(crc ^ static_cast<unsigned char>(byte)) & 0xff];
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

/// A new file that replaces one, or stays away: it has no name until it is complete, where the file system can do that,
/// and else one of random letters, which is removed unless it became the file's. Signals to stop are held back
/// meanwhile, so that this is so whenever they come.
class ReplacementFile
{
public:
   /// Throws std::runtime_error, naming the file, as the other operations.
   explicit ReplacementFile(const std::string& path) : path_(path)
   {
      struct stat before = {};
      const bool isThere = stat(path.c_str(), &before) == 0;
      if (isThere && !S_ISREG(before.st_mode))
         throw std::runtime_error(path_ + ": not a file that can be replaced");
      const std::filesystem::path file = behindLinks(path);
      if (std::error_code none; std::filesystem::is_symlink(file, none)) {
         errno = ELOOP;
         fail();
      }
      name_ = file.filename();
      folder_ = Fd(open(file.has_parent_path() ? file.parent_path().c_str() : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
      if (folder_.get() == -1)
         fail();
      if (access("/proc/self/fd", X_OK) == 0) // which leads to a file without a name
         fd_ = Fd(openat(folder_.get(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
      if (fd_.get() == -1)
         fd_ = Fd(makeTemporary([&](const char* name) {
            return openat(folder_.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
         }));
      if (!isThere)
         return;
      mode_t kept = 07777;
      if (fchown(fd_.get(), before.st_uid, before.st_gid) != 0 && fchown(fd_.get(), uid_t(-1), before.st_gid) != 0)
         kept = 0777; // what a file lets others do in its owner's or group's name is not for the new ones
      fchmod(fd_.get(), before.st_mode & kept);
   }
   ReplacementFile(const ReplacementFile&) = delete;
   ReplacementFile& operator=(const ReplacementFile&) = delete;

   ~ReplacementFile() { removeTemporary(); }

   /// Throws Stopped, too.
   void write(std::string_view text)
   {
      while (!text.empty()) {
         if (held_.hasCome())
            throw Stopped();
         const ssize_t written = ::write(fd_.get(), text.data(), text.size());
         if (written == -1 && errno != EINTR)
            fail();
         text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
      }
   }

   /// Puts the file in its place, its bytes being on the disk by then.
   void commit()
   {
      if (fsync(fd_.get()) != 0)
         fail();
      if (temporary_.empty()) {
         if (link(name_.c_str()) == 0)
            return;
         if (errno != EEXIST)
            fail();
         makeTemporary([&](const char* name) { return link(name); });
      }
      if (renameat(folder_.get(), temporary_.c_str(), folder_.get(), name_.c_str()) != 0)
         fail();
      temporary_.clear();
   }

private:
   /// What a path leads to, which need not be there: the kernel replaces a link, not its target. Another link for one
   /// that leads to no end.
   static std::filesystem::path behindLinks(std::filesystem::path path)
   {
      constexpr int mostLinks = 40; // as for the kernel
      std::error_code none;         // is told by what is done with the path
      for (int links = 0; links < mostLinks && std::filesystem::is_symlink(path, none); ++links)
         path = path.parent_path() / std::filesystem::read_symlink(path, none);
      return path;
   }

   /// Calls make(name) with names of random letters until there was none of that name. Returns what it returned.
   template <class Make>
   int makeTemporary(Make make)
   {
      std::random_device random;
      for (;;) {
         std::string name = ".nexthop-rows.";
         for (int i = 0; i < 12; ++i)
            name += static_cast<char>('a' + random() % 26);
         const int made = make(name.c_str());
         if (made == -1 && errno == EEXIST)
            continue;
         if (made == -1)
            fail();
         temporary_ = name;
         return made;
      }
   }

   /// Gives the file without a name this one.
   int link(const char* name) const
   {
      const std::string itself = "/proc/self/fd/" + std::to_string(fd_.get());
      return linkat(AT_FDCWD, itself.c_str(), folder_.get(), name, AT_SYMLINK_FOLLOW);
   }

   void removeTemporary()
   {
      if (!temporary_.empty())
         unlinkat(folder_.get(), temporary_.c_str(), 0);
      temporary_.clear();
   }

   [[noreturn]] void fail()
   {
      const int error = errno;
      removeTemporary(); // also from the constructor
      throw std::runtime_error(path_ + ": " + std::strerror(error));
   }

   /// Closed at the end.
   class Fd
   {
   public:
      explicit Fd(int fd = -1) : fd_(fd) {}
      Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
      Fd& operator=(Fd&& other) noexcept
      {
         std::swap(fd_, other.fd_);
         return *this;
      }
      ~Fd()
      {
         if (fd_ != -1)
            close(fd_);
      }

      int get() const { return fd_; }

   private:
      int fd_;
   };

   HeldSignals held_;      ///< first, as it ends last
   std::string path_;      ///< for messages
   std::string name_;      ///< in the folder
   std::string temporary_; ///< in the folder; empty: none
   Fd folder_;
   Fd fd_;
};

/// Reads a file of rows, row by row.
class Reader
{
public:
   /// Reads the first line.
   explicit Reader(const Source& file) : file_(file)
   {
      std::string first(magic.size(), '\0');
      file_.in->read(first.data(), static_cast<std::streamsize>(first.size()));
      if (isUnreadable())
         endsEarly();
      if (first != magic)
         damaged(0, "no file of rows, which begin with \"" + std::string(magic) + '"');
      const std::size_t at = position_ = magic.size();
      std::string text = word('\n');
      if (!text.ends_with(magicEnd))
         damaged(at, "no number of rows");
      text.resize(text.size() - magicEnd.size());
      rows_ = number(at, text);
   }

   void read(Tables& tables, const Fault& fault)
   {
      for (std::size_t i = 0; i < rows_; ++i) {
         const std::size_t at = position_;
         const std::string type = word(' ');
         const std::size_t lengthAt = position_;
         const std::size_t length = number(lengthAt, word(' '));
         if (length > Zorva::maxRowLength)
            damaged(lengthAt, "a row of " + std::to_string(length) + " bytes, more than any has");
         const std::string crc = word('\n');
         const std::size_t firstAt = position_;
         const std::string bytes = take(length);
         if (take(1) != "\n")
            damaged(firstAt + length, "no line feed behind the row");
         if (crc != checksum(bytes))
            fault(firstAt, "the row's checksum is " + checksum(bytes));
         else if (type == NexthopInfoRow::rowTypeName())
            file<NexthopInfoRow>(tables.nexthops, firstAt, bytes, fault);
         else if (type == EcmpMemberListRow::rowTypeName())
            file<EcmpMemberListRow>(tables.groups, firstAt, bytes, fault);
         else
            fault(at, "unknown row type " + shown(type));
      }
      if (file_.in->peek() != std::istream::traits_type::eof())
         damaged(position_, "bytes behind the last row");
   }

private:
   template <class Row>
   static void file(Table& table, std::size_t at, const std::string& bytes, const Fault& fault)
   {
      try {
         const Row row = Row::fromBytes({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
         if (!table.insert(row))
            fault(at, "a second row with id " + std::to_string(row.id()));
      } catch (const Zorva::ZoBadCast& bad) {
         fault(at, bad.what());
      }
   }

   /// The next bytes.
   std::string take(std::size_t length)
   {
      std::string bytes(length, '\0');
      file_.in->read(bytes.data(), static_cast<std::streamsize>(length));
      position_ += static_cast<std::size_t>(file_.in->gcount());
      if (!*file_.in)
         endsEarly();
      return bytes;
   }

   /// What stands before `end`, which is taken too.
   std::string word(char end)
   {
      const std::size_t at = position_;
      std::array<char, 100> text{}; // more than any has
      file_.in->getline(text.data(), text.size(), end);
      const auto taken = static_cast<std::size_t>(file_.in->gcount());
      position_ += taken;
      if (file_.in->eof() || file_.in->bad())
         endsEarly();
      if (!*file_.in)
         damaged(at, "no first line of a row");
      return {text.data(), taken - 1};
   }

   std::size_t number(std::size_t at, const std::string& text) const
   {
      std::size_t value = 0;
      const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error != std::errc() || stop != text.data() + text.size())
         damaged(at, "no number");
      return value;
   }

   /// Standard input, which is read through the C library, has an end where it cannot be read.
   bool isUnreadable() const
   {
      return file_.in->bad() || (file_.in->rdbuf() == std::cin.rdbuf() && std::ferror(stdin) != 0);
   }

   [[noreturn]] void endsEarly() const
   {
      if (isUnreadable())
         throw BadInput(file_.name + ": cannot be read");
      damaged(position_, "the file ends too early");
   }

   [[noreturn]] void damaged(std::size_t at, const std::string& reason) const { throwDamaged(file_.name, at, reason); }

   const Source& file_;
   std::size_t position_ = 0;
   std::size_t rows_ = 0;
};

} // namespace

void writeRows(const Tables& tables, const Write& write)
{
   constexpr std::size_t atOnce = 1 << 16;
   std::string text = std::string(magic) + std::to_string(tables.size());
   text.append(magicEnd) += '\n';
   forEachRow(tables, [&](const auto& row) {
      appendRow(text, row);
      if (text.size() >= atOnce)
         write(std::exchange(text, {}));
   });
   write(text);
}

void saveRows(const Tables& tables, const std::string& path)
{
   if (path == standardFile)
      return writeRows(tables, [](std::string_view text) { std::cout << text; });
   ReplacementFile file(path);
   writeRows(tables, [&](std::string_view text) { file.write(text); });
   file.commit();
}

Source openRows(const std::string& path)
{
   if (path == standardFile)
      return {nameOfFile(path), std::make_unique<std::istream>(std::cin.rdbuf())};
   return openFile(path);
}

void readRows(const Source& file, Tables& tables, const Fault& fault) { Reader(file).read(tables, fault); }

Tables loadRows(const std::string& path)
{
   const Source file = openRows(path);
   Tables tables;
   readRows(file, tables, [&](std::size_t at, const std::string& reason) { throwDamaged(file.name, at, reason); });
   return tables;
}

} // namespace NexthopRows
