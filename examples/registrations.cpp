// A program that names no row type: it takes whatever the libraries that it is linked with have registered.
#include <iostream>

#include "embedded/registry.h"
#include "embedded/table.h"

int main()
{
   for (const Zorva::Embedded::Registration& registered : Zorva::Embedded::registrations()) {
      const Zorva::Embedded::Table table(registered.rowTypeName); // rows by the type's own key
      Zorva::ZorvaDB::loadMetadata(registered.rowTypeName);
      const Zorva::BaseRow classRow = Zorva::ZorvaDB::zoClass(registered.rowTypeName);
      std::cout << "type " << classRow.readColumn<std::uint32_t>(Zorva::zo_contentOffset) << ": "
                << registered.rowTypeName << ", " << table.size() << " rows\n";
   }
}
