#include "platform/zorva/exceptions.h"

#include "platform/halvo/memoryResourceException.h"

void Zorva::ZoNullRow::throwException(const std::string& message) { throw ZoNullRow(message); }

void Zorva::ZoPermissionViolation::throwException(const std::string& message) { throw ZoPermissionViolation(message); }

void Zorva::ZoBadCast::throwException(const std::string& message) { throw ZoBadCast(message); }

void Zorva::ZoOutOfRange::throwException(const std::string& message) { throw ZoOutOfRange(message); }

void Zorva::ZoNotSupported::throwException(const std::string& message) { throw ZoNotSupported(message); }

void Halvo::MemoryResourceException::throwException(const std::string& message)
{
   throw MemoryResourceException(message);
}
