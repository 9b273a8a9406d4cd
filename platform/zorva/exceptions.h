// The row database's exceptions. Each is raised through its class's static throwException, which the row database
// core defines; default visibility lets a handler in one library catch what another one threw.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/export.h"

namespace Zorva {

/// An operation that needs a row's bytes met a row without a buffer. Message "null row".
class ZORVA_EXPORT ZoNullRow : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   [[noreturn]] static void throwException(const std::string& message);
};

/// A read-only row was to be modified. Message "Attempting to modify read-only row".
class ZORVA_EXPORT ZoPermissionViolation : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   [[noreturn]] static void throwException(const std::string& message);
};

/// A row of one type was to become a row of another. The message names both type ids and the row's position.
class ZORVA_EXPORT ZoBadCast : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   [[noreturn]] static void throwException(const std::string& message);
};

/// An index, an offset or a size lies outside what there is. The message names the numbers.
class ZORVA_EXPORT ZoOutOfRange : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   [[noreturn]] static void throwException(const std::string& message);
};

/// An order or a hash was asked of something that has none: a generic row, an array column.
class ZORVA_EXPORT ZoNotSupported : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   [[noreturn]] static void throwException(const std::string& message);
};

} // namespace Zorva
