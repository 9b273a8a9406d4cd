// Next hops in the peers' forms. Each object owns its memory, as a row does, and uses the peer's cheapest way to it.
#include <capnp/any.h>
#include <capnp/compat/json.h>
#include <capnp/message.h>
#include <flatbuffers/minireflect.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>
#include <string>

#include "bench/jsonSum.h"
#include "bench/support.h"
#include "nexthop.capnp.h"
#include "nexthop.pb.h"
#include "nexthop_generated.h"

namespace Bench {

namespace {

constexpr std::uint32_t port = 99;

// --- FlatBuffers: a finished buffer, detached from its builder, with room as the peer's tutorial gives it or for one
// --- next hop; or copied out of a builder that is used again ---

namespace Flat {

using Nexthop = FlatPeer::Nexthop;

flatbuffers::FlatBufferBuilder& write(flatbuffers::FlatBufferBuilder& builder, const Values& v)
{
   builder.Finish(FlatPeer::CreateNexthop(builder, v.genId, v.entryHandle, v.valid, v.entryId, v.id, v.portId,
                                          number(v.dmac), number(v.smac), v.drop, v.encapType, v.encapId));
   return builder;
}

constexpr std::size_t tutorialRoom = 1024;
constexpr std::size_t smallRoom = 128;

flatbuffers::DetachedBuffer built(const Values& v, std::size_t room = smallRoom)
{
   flatbuffers::FlatBufferBuilder builder(room);
   return write(builder, v).Release();
}

/// A finished buffer in one block of its own.
struct Owned
{
   Owned(const std::uint8_t* bytes, std::size_t size) : data(new std::uint8_t[size]), length(size)
   {
      std::memcpy(data.get(), bytes, size);
   }

   std::unique_ptr<std::uint8_t[]> data;
   std::size_t length;
};

Owned builtAgain(const Values& v)
{
   static flatbuffers::FlatBufferBuilder builder(smallRoom);
   builder.Clear();
   write(builder, v);
   return Owned(builder.GetBufferPointer(), builder.GetSize());
}

std::uint64_t sum(const std::uint8_t* buffer)
{
   const Nexthop& n = *flatbuffers::GetRoot<Nexthop>(buffer);
   return n.gen_id() + n.entry_handle() + n.valid() + n.entry_id() + n.id() + n.port_id() + n.dmac() + n.smac() +
          n.drop() + static_cast<std::uint32_t>(n.encap_type()) + n.encap_id();
}

void registerCases()
{
   static const flatbuffers::DetachedBuffer one = built(values);
   static const flatbuffers::DetachedBuffer same = built(values);
   static const std::uint8_t* both[] = {one.data(), same.data()};
   const auto sumOfBuffer = [](auto& made) { return sum(made.data()); };
   measure(
      "build/flatbuffers", [] { return built(values, tutorialRoom); }, sumOfBuffer);
   measure(
      "build/flatbuffers-sized", [] { return built(values); }, sumOfBuffer);
   measure(
      "build/flatbuffers-again", [] { return builtAgain(values); }, [](auto& made) { return sum(made.data.get()); });
   measure(
      "copy-modify/flatbuffers",
      [] {
         Owned copy(one.data(), one.size());
         flatbuffers::GetMutableRoot<Nexthop>(copy.data.get())->mutate_port_id(port);
         return copy;
      },
      [](auto& made) { return sum(made.data.get()); });
   measureChain("read-one/flatbuffers", [](std::uint64_t i) { return flatbuffers::GetRoot<Nexthop>(both[i])->id(); });
   measure("read-all/flatbuffers", [] { return sum(one.data()); });
   measure("equality/flatbuffers",
           [] { return one.size() == same.size() && std::memcmp(one.data(), same.data(), one.size()) == 0; });
   measure(
      "json/flatbuffers",
      [] {
         flatbuffers::ToStringVisitor json(" ", true, "");
         flatbuffers::IterateFlatBuffer(one.data(), FlatPeer::NexthopTypeTable(), &json);
         return json.s;
      },
      jsonSum);
}

} // namespace Flat

// --- Cap'n Proto: a message in its default first segment; or in one segment that has the right size ---

namespace Capn {

using Nexthop = CapnPeer::Nexthop;
constexpr capnp::uint rightSize = 16;

struct Message
{
   explicit Message(const Values& v, capnp::uint words = capnp::SUGGESTED_FIRST_SEGMENT_WORDS)
      : message(words), root(message.initRoot<Nexthop>())
   {
      root.setGenId(v.genId);
      root.setEntryHandle(v.entryHandle);
      root.setValid(v.valid);
      root.setEntryId(v.entryId);
      root.setId(v.id);
      root.setPortId(v.portId);
      root.setDmac(number(v.dmac));
      root.setSmac(number(v.smac));
      root.setDrop(v.drop);
      root.setEncapType(v.encapType);
      root.setEncapId(v.encapId);
   }

   /// A copy of another message, one column changed.
   explicit Message(Nexthop::Reader other) : message(rightSize), root(nullptr)
   {
      message.setRoot(other);
      root = message.getRoot<Nexthop>();
      root.setPortId(port);
   }

   capnp::MallocMessageBuilder message;
   Nexthop::Builder root;
};

std::uint64_t sum(Nexthop::Reader n)
{
   return n.getGenId() + n.getEntryHandle() + n.getValid() + n.getEntryId() + n.getId() + n.getPortId() + n.getDmac() +
          n.getSmac() + n.getDrop() + static_cast<std::uint32_t>(n.getEncapType()) + n.getEncapId();
}

void registerCases()
{
   static Message one(values);
   static Message same(values);
   static const Nexthop::Reader readers[] = {one.root.asReader(), same.root.asReader()};
   static const Nexthop::Reader& reader = readers[0];
   const auto sumOfMessage = [](auto& made) { return sum(made.root.asReader()); };
   measure(
      "build/capnproto", [] { return Message(values); }, sumOfMessage);
   measure(
      "build/capnproto-sized", [] { return Message(values, rightSize); }, sumOfMessage);
   measure(
      "copy-modify/capnproto", [] { return Message(reader); }, sumOfMessage);
   measureChain("read-one/capnproto", [](std::uint64_t i) { return readers[i].getId(); });
   measure("read-all/capnproto", [] { return sum(reader); });
   measure("equality/capnproto",
           [] { return capnp::AnyStruct::Reader(reader) == capnp::AnyStruct::Reader(readers[1]); });
   measure(
      "json/capnproto",
      [] {
         const capnp::JsonCodec codec;
         const auto text = codec.encode(reader);
         return std::string(text.cStr(), text.size());
      },
      jsonSum);
}

} // namespace Capn

// --- protobuf: a message on the heap ---

namespace Proto {

using ProtoPeer::Nexthop;

std::unique_ptr<Nexthop> built(const Values& v)
{
   auto message = std::make_unique<Nexthop>();
   message->set_gen_id(v.genId);
   message->set_entry_handle(v.entryHandle);
   message->set_valid(v.valid);
   message->set_entry_id(v.entryId);
   message->set_id(v.id);
   message->set_port_id(v.portId);
   message->set_dmac(number(v.dmac));
   message->set_smac(number(v.smac));
   message->set_drop(v.drop);
   message->set_encap_type(v.encapType);
   message->set_encap_id(v.encapId);
   return message;
}

std::uint64_t sum(const Nexthop& n)
{
   return n.gen_id() + n.entry_handle() + n.valid() + n.entry_id() + n.id() + n.port_id() + n.dmac() + n.smac() +
          n.drop() + static_cast<std::uint32_t>(n.encap_type()) + n.encap_id();
}

void registerCases()
{
   static const std::unique_ptr<Nexthop> one = built(values);
   static const std::unique_ptr<Nexthop> same = built(values);
   static const Nexthop* both[] = {one.get(), same.get()};
   const auto sumOfMessage = [](auto& made) { return sum(*made); };
   measure(
      "build/protobuf", [] { return built(values); }, sumOfMessage);
   measure(
      "copy-modify/protobuf",
      [] {
         auto copy = std::make_unique<Nexthop>(*one);
         copy->set_port_id(port);
         return copy;
      },
      sumOfMessage);
   measureChain("read-one/protobuf", [](std::uint64_t i) { return both[i]->id(); });
   measure("read-all/protobuf", [] { return sum(*one); });
   measure("equality/protobuf", [] { return google::protobuf::util::MessageDifferencer::Equals(*one, *same); });
   measure(
      "json/protobuf",
      [] {
         std::string text;
         (void)google::protobuf::util::MessageToJsonString(*one, &text);
         return text;
      },
      jsonSum);
}

} // namespace Proto

} // namespace

void registerPeerCases()
{
   Flat::registerCases();
   Capn::registerCases();
   Proto::registerCases();
}

} // namespace Bench
