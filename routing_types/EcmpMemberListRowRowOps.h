// EcmpMemberListRowRowOps_KEY, the operations of EcmpMemberListRow's only index, and the generator through which the
// row database obtains them. Both are stateless: one object may serve any number of threads at once.
#pragma once

#include "platform/export.h"
#include "platform/zorva/rowOps.h"

namespace P4RuntimeRouting {

/// Hash, equality and order of EcmpMemberListRow rows by key (`id`) and by content, on generic rows whose type is not
/// tested. Only the hashes accept a null row (0); the rest throw ZoNullRow. rowLess throws ZoNotSupported on rows that
/// are equal in their five fixed columns: arrays have no order.
class ZORVA_EXPORT EcmpMemberListRowRowOps_KEY : public Zorva::RowOpsBase
{
public:
   ~EcmpMemberListRowRowOps_KEY() override;

   std::uint64_t keyHash(const Zorva::BaseRow& row) override;
   std::uint64_t rowHash(const Zorva::BaseRow& row) override;
   bool keyEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b) override;
   bool rowEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b) override;
   bool keyLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b) override;
   bool rowLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b) override;
   bool unique() override;                                ///< true: at most one row per key
   bool ordered() override;                               ///< false: the index is not kept in order
   unsigned char index() override;                        ///< 0
   std::uint64_t getTotalInstructionsExecuted() override; ///< 0: none are counted
};

/// Makes the operations objects of EcmpMemberListRow. The one instance registers itself with the row database when the
/// library is loaded and is not withdrawn.
class ZORVA_EXPORT EcmpMemberListRowRowOpsGenerator : public Zorva::RowOpsGenerator
{
public:
   /// Registers this generator under the row type's full name.
   EcmpMemberListRowRowOpsGenerator();
   ~EcmpMemberListRowRowOpsGenerator();

   /// Appends a new KEY operations object to `ops`; a failed allocation leaves `ops` as it was.
   void operator()(std::vector<std::shared_ptr<Zorva::RowOpsBase>>& ops) override;

   /// A new KEY operations object for index 0, an empty pointer for every other index.
   std::shared_ptr<Zorva::RowOpsBase> operator()(unsigned char index) override;

   static EcmpMemberListRowRowOpsGenerator rowOpsGenerator_;
};

} // namespace P4RuntimeRouting
