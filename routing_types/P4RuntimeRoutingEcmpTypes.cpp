// The library's load step: the two generators are constructed, and so registered with the row database, in this order.
// Nothing else happens when the library is loaded; row type ids are fetched on first use.
//
// Below them stand the instances of BaseRow's per-type members that other libraries may rely on finding here.
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

#define ZORVA_ROW P4RuntimeRouting::NexthopInfoRow
#include "rowtype/loadRowType.inc"
#define ZORVA_ROW P4RuntimeRouting::EcmpMemberListRow
#include "rowtype/loadRowType.inc"

namespace Zorva {

template ZORVA_EXPORT void BaseRow::setColumn<unsigned short>(len_t, const unsigned short&, len_t);
template ZORVA_EXPORT void BaseRow::setColumn<unsigned int>(len_t, const unsigned int&, len_t);
template ZORVA_EXPORT void BaseRow::setColumn<unsigned long>(len_t, const unsigned long&, len_t);
template ZORVA_EXPORT void BaseRow::setColumn<int>(len_t, const int&, len_t);
template ZORVA_EXPORT void BaseRow::setColumn<bool>(len_t, const bool&, len_t);
template ZORVA_EXPORT void BaseRow::setColumn<EthAddr>(len_t, const EthAddr&, len_t);
template ZORVA_EXPORT void BaseRow::getColumn<EthAddr>(len_t, EthAddr&) const;

template ZORVA_EXPORT bool BaseRow::columnEqual<unsigned short>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnEqual<unsigned int>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnEqual<unsigned long>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnEqual<int>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnEqual<bool>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnEqual<EthAddr>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<unsigned short>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<unsigned int>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<unsigned long>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<int>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<bool>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT bool BaseRow::columnLess<EthAddr>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT std::uint64_t BaseRow::columnHash<unsigned int>(len_t) const;

template ZORVA_EXPORT void BaseRow::setColumn<unsigned int>(len_t, const std::vector<unsigned int>&, len_t);
template ZORVA_EXPORT void BaseRow::updateFixElemArray<unsigned int>(len_t, len_t, const std::vector<unsigned int>&);
template ZORVA_EXPORT bool BaseRow::arrayColumnEqual<unsigned int>(len_t, const BaseRow&, len_t) const;
template ZORVA_EXPORT std::string BaseRow::aryColumnToString<unsigned int>(len_t) const;
template ZORVA_EXPORT unsigned int ArrayReference<unsigned int>::operator[](std::size_t) const;

template ZORVA_EXPORT void BaseRow::getColumnStruct<BaseRow>(len_t, BaseRow&) const;

} // namespace Zorva
