#include "nexthop_rows/rowTable.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <vector>

#include "nexthop_rows/rowKeeper.h"

namespace NexthopRows {

namespace {

/// Lines of cells, of which all but a line's last are as wide as the widest of their column. Cells are ASCII, but for
/// the last ones.
class TextTable
{
public:
   using Line = std::vector<std::string>;

   explicit TextTable(Line heading) { add(std::move(heading), false); }

   /// A line that stands out tells of a row that is not valid.
   void add(Line line, bool standsOut)
   {
      widths_.resize(line.size());
      for (std::size_t i = 0; i < line.size(); ++i)
         widths_[i] = std::max(widths_[i], line[i].size());
      lines_.push_back({std::move(line), standsOut});
   }

   bool empty() const { return lines_.size() == 1; }

   void print(std::ostream& out, bool isColoured) const
   {
      const char* colour = "\033[1m"; // of the heading: bold
      for (const auto& [cells, standsOut] : lines_) {
         if (standsOut)
            colour = "\033[31m"; // red
         if (isColoured)
            out << colour;
         for (std::size_t i = 0; i + 1 < cells.size(); ++i)
            out << std::left << std::setw(static_cast<int>(widths_[i])) << cells[i] << "  ";
         out << cells.back() << (isColoured && *colour != '\0' ? "\033[0m\n" : "\n");
         colour = "";
      }
   }

private:
   struct Styled
   {
      Line cells;
      bool standsOut;
   };

   std::vector<Styled> lines_;
   std::vector<std::size_t> widths_;
};

std::string text(const Zorva::EthAddr& mac)
{
   std::ostringstream text;
   text << mac;
   return mac == Zorva::EthAddr() ? "-" : text.str();
}

std::string encapsulation(const NexthopInfoRow& row)
{
   const std::string value = ' ' + std::to_string(row.encapId());
   switch (static_cast<EncapType>(row.encapType())) {
   case EncapType::none: return "-";
   case EncapType::vlan: return "vlan" + value;
   case EncapType::mpls: return "mpls" + value;
   case EncapType::ip: return "ip id" + value;
   case EncapType::ip6: return "ip6 id" + value;
   case EncapType::notHeld: break;
   }
   return "not held";
}

std::string port(const NexthopInfoRow& row, const std::string& device)
{
   if (row.drop())
      return "drop";
   std::string text = row.portId() != 0 ? std::to_string(row.portId()) : "-";
   return device.empty() ? text : text + ' ' + device;
}

std::string validity(bool isValid, const std::string& why)
{
   return isValid ? "yes" : why.empty() ? "no" : "no: " + why;
}

/// "20 12×3": each member, with how many times it stands there in sequence.
std::string members(const EcmpMemberListRow& row)
{
   std::string text;
   const auto ids = row.member();
   for (auto id = ids.begin(); id != ids.end();) {
      const auto next = std::find_if(id, ids.end(), [&](std::uint32_t other) { return other != *id; });
      text.append(text.empty() ? "" : " ").append(std::to_string(*id));
      if (next - id > 1)
         text += "×" + std::to_string(next - id);
      id = next;
   }
   return text.empty() ? "-" : text;
}

/// Fills both tables.
struct Tabulate
{
   Imported& imported;
   TextTable& nexthops;
   TextTable& groups;

   void operator()(const NexthopInfoRow& row) const
   {
      const std::string why = row.valid() || !imported.state ? "" : whyNotValid(*imported.state, row.id());
      nexthops.add({std::to_string(row.id()), validity(row.valid(), why), port(row, deviceOf(imported, row.id())),
                    text(row.dmac()), text(row.smac()), encapsulation(row)},
                   !row.valid());
   }

   void operator()(const EcmpMemberListRow& row) const
   {
      groups.add({std::to_string(row.id()), validity(row.valid(), noValidMember), members(row)}, !row.valid());
   }
};

} // namespace

void printTables(std::ostream& out, const RowFilter& filter, Imported& imported, const std::string& from,
                 bool isColoured)
{
   TextTable nexthops({"nexthop", "valid", "port", "dmac", "smac", "encapsulation"});
   TextTable groups({"group", "valid", "members"});
   FilteredRows(filter, imported, from).forEach(Tabulate{imported, nexthops, groups});
   if (!nexthops.empty())
      nexthops.print(out, isColoured);
   if (!nexthops.empty() && !groups.empty())
      out << '\n';
   if (!groups.empty())
      groups.print(out, isColoured);
}

} // namespace NexthopRows
