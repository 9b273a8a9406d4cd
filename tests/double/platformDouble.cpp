#include "tests/double/platformDouble.h"

#include "platform/halvo/util.h"
#include "platform/zorva/rowOps.h"
#include "platform/zorva/zorvaDB.h"

PlatformDouble& PlatformDouble::get()
{
   static PlatformDouble platform;
   return platform;
}

static void called(const std::string& call) { PlatformDouble::get().calls.push_back(call); }

namespace Zorva {

constinit thread_local BaseRowCounters BaseRow::baseRowCounters;

BaseRow ZorvaDB::zoClass(const std::string& typeName)
{
   called("zoClass " + typeName);
   PlatformDouble& platform = PlatformDouble::get();
   return platform.answers[std::min(platform.asked++, platform.answers.size() - 1)];
}

void ZorvaDB::loadMetadata(const std::string& typeName) { called("loadMetadata " + typeName); }
void installRowOpsGenerator(std::string typeName, RowOpsGenerator*) { called("install " + typeName); }

void ZoNullRow::throwException(const std::string& message) { throw ZoNullRow(message); }
void ZoPermissionViolation::throwException(const std::string& message) { throw ZoPermissionViolation(message); }
void ZoBadCast::throwException(const std::string& message) { throw ZoBadCast(message); }
void ZoOutOfRange::throwException(const std::string& message) { throw ZoOutOfRange(message); }
void ZoNotSupported::throwException(const std::string& message) { throw ZoNotSupported(message); }

std::string BaseRow::toString() const { return "generic"; }
template <>
void BaseRow::setToNull<EthAddr>(EthAddr& value) { value = EthAddr(255, 0, 0, 0, 0, 0); }

// In slot order, from a copy of the row.
len_t BaseRow::compactVariableData(len_t end)
{
   const std::vector<unsigned char> old(bytes().begin(), bytes().end());
   for (const len_t offset : vcd()) {
      VColType& slot = slotAt(offset);
      std::copy_n(old.begin() + slot.dataOffset(), slot.dataLength(), header() + end);
      slot.dataOffsetIs(end);
      end = static_cast<len_t>(end + slot.dataLength());
   }
   return end;
}

std::ostream& operator<<(std::ostream& os, const EthAddr& address) { return os << "mac " << +address.bytes()[5]; }
std::ostream& operator<<(std::ostream& os, const FMT<bool>& value) { return os << (value.value ? "yes" : "no"); }

} // namespace Zorva

void Halvo::MemoryResourceException::throwException(const std::string& text) { throw MemoryResourceException(text); }

unsigned Halvo::Util::hash(const void* data, unsigned length)
{
   called("hash " + std::string(static_cast<const char*>(data), length));
   return 0x80000000u + static_cast<const unsigned char*>(data)[5];
}

Halvo::Platform::DebugHandler* Halvo::Platform::defaultHandle()
{
   static DebugHandler handler;
   return &handler;
}

void Halvo::debugAndThrowAssertException(Platform::DebugHandler* handler, int level, Platform::DebugStream& text,
                                         const char* file, const char* function, int line)
{
   called(std::to_string(level) + ' ' + file + ' ' + function + ' ' + std::to_string(line) + ": " + text.str());
   if (handler->throws)
      throw AssertException(text.str());
}
