#pragma once

// The base of every protocol message, and its XML form:
//
//   <TypeName>
//   <requestId>7</requestId>      requests and responses, when assigned
//   <returnCode>0</returnCode>    responses
//   ...the message's own fields, in its writing order...
//   </TypeName>
//
// A message owns all its fields by value. Messages are plain data: any
// thread may use one, one thread at a time.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "protocol/MessageType.h"
#include "protocol/XmlReader.h"
#include "protocol/XmlWriter.h"

namespace vantor {

class Message {
public:
    virtual ~Message() = default;

    MessageType Type() const { return type_; }
    MessageKind Kind() const { return kind_; }
    std::string_view TypeName() const { return MessageTypeName(type_); }

    bool operator==(const Message&) const = default;

    std::string ToXml() const;
    // Fills the fields from a received text. Never fails: what is missing or
    // malformed reads as its empty value.
    void FromXml(std::string_view xml);

    // Requests and responses: -1 until a request is sent; a response carries
    // the id of the request it answers.
    std::int32_t requestId = -1;
    // Responses: the server's result for the request, 0 for success.
    std::int32_t returnCode = 0;

protected:
    explicit Message(MessageType type) : type_(type), kind_(KindOf(type)) {}
    Message(const Message&) = default;
    Message& operator=(const Message&) = default;

    // The common fields: requestId when assigned, and returnCode for a
    // response. A message whose server writes them differently overrides this.
    virtual void WriteHeader(XmlWriter& out) const;
    virtual void WriteFields(XmlWriter& /*out*/) const {}
    virtual void ReadFields(const XmlView& /*in*/) {}

private:
    MessageType type_;
    MessageKind kind_;
};

// A message of the given type without fields of its own.
template <MessageType T>
class PlainMessage final : public Message {
public:
    static constexpr MessageType kType = T;
    PlainMessage() : Message(T) {}
};

// Downcast to the concrete class when the type id says it is one.
template <class M>
const M* As(const Message& message) {
    return message.Type() == M::kType ? static_cast<const M*>(&message) : nullptr;
}
template <class M>
M* As(Message& message) {
    return message.Type() == M::kType ? static_cast<M*>(&message) : nullptr;
}

}  // namespace vantor
