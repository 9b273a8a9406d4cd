// A row type of one's own in use: inserted into a table, found by its key, printed, verified and listed byte by byte.
#include <iostream>

#include "embedded/table.h"
#include "examples/portRow.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"

using Examples::PortRow;

int main()
{
   Zorva::Embedded::Table ports(PortRow::rowTypeName()); // by the operations that loading PortRow registered
   ports.insert(PortRow(1, true, {2, 0, 0, 0, 0, 1}, {100, 200}));
   ports.insert(PortRow(2, false, {2, 0, 0, 0, 0, 2}, {}));
   const Zorva::BaseRow* const found = ports.find(PortRow::key(1));
   if (found == nullptr)
      return 1;
   const PortRow port(*found);
   std::cout << port << '\n' << port.toJson() << '\n';
   std::cout << "sound: " << Zorva::verifyRow<PortRow>(port.bytes()).ok() << ", same key: " << (port == PortRow::key(1))
             << '\n'
             << Zorva::describeRow<PortRow>(port);
}
