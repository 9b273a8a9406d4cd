# The columns of a next hop row as Cap'n Proto has them. MAC addresses are numbers, its cheapest form.
@0xc7f0b4d1a6e35928;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("CapnPeer");

struct Nexthop {
   genId @0 :UInt64;
   entryHandle @1 :UInt64;
   valid @2 :Bool;
   entryId @3 :UInt32;
   id @4 :UInt32;
   portId @5 :UInt32;
   dmac @6 :UInt64;
   smac @7 :UInt64;
   drop @8 :Bool;
   encapType @9 :Int32;
   encapId @10 :UInt16;
}
