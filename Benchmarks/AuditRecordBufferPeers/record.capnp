@0xb2d4c8a1f0e35716;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("peers::capn");

struct Record {
  recordId @0 :Int64;
  eventId @1 :Int32;
  pid @2 :Int32;
  status @3 :Int32;
  computerName @4 :Text;
  date @5 :Text;
  type @6 :Text;
  userUuid @7 :Text;
  sid @8 :Text;
  userName @9 :Text;
  processName @10 :Text;
  deviceType @11 :Text;
  action @12 :Text;
  name @13 :Text;
  information @14 :Text;
  schemaTag @15 :Text;
  reason @16 :Text;
  extra @17 :Text;
}
