// What the row database asks of a row type: one operations object per index, and the generator that makes them.
// Objects are stateless; one may serve any number of threads at once.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"

namespace Zorva {

class BaseRow;

/// Hash, equality and order of the rows of one index, by key and by whole content. The order of the declarations is
/// the order of the virtual slots.
class ZORVA_EXPORT RowOpsBase
{
public:
   virtual ~RowOpsBase() = default;

   virtual std::uint64_t keyHash(const BaseRow& row) = 0;
   virtual std::uint64_t rowHash(const BaseRow& row) = 0;
   virtual bool keyEquals(const BaseRow& a, const BaseRow& b) = 0;
   virtual bool rowEquals(const BaseRow& a, const BaseRow& b) = 0;
   virtual bool keyLess(const BaseRow& a, const BaseRow& b) = 0;
   virtual bool rowLess(const BaseRow& a, const BaseRow& b) = 0;
   virtual bool unique() = 0;
   virtual bool ordered() = 0;
   virtual unsigned char index() = 0;
   virtual std::uint64_t getTotalInstructionsExecuted() = 0;
};

/// A row type's source of operations objects. Lives in static storage of the library that defines the type and is
/// never destroyed through this interface, hence no virtual destructor.
class ZORVA_EXPORT RowOpsGenerator
{
public:
   /// Appends a new operations object for every index of the type to `ops`. A failure leaves `ops` as it was.
   virtual void operator()(std::vector<std::shared_ptr<RowOpsBase>>& ops) = 0;

   /// A new operations object for index number `index`, or an empty pointer when the type has no such index.
   virtual std::shared_ptr<RowOpsBase> operator()(unsigned char index) = 0;

protected:
   ~RowOpsGenerator() = default;
};

/// Makes `generator` the one that the row database asks for the type named `rowTypeName`. Keeps the pointer for the
/// life of the process, so the generator must stay. Any thread, also during static initialisation. Defined by the
/// row database core.
ZORVA_EXPORT void installRowOpsGenerator(std::string rowTypeName, RowOpsGenerator* generator);

} // namespace Zorva
