#include "switchd/services/OperatorWire.h"

#include "platform/wire/Wire.h"

namespace {

// A body decoded whole, or nothing.
template <typename Message>
std::optional<Message> whole(const WireReader& reader, Message&& message) {
    return reader.done() ? std::optional<Message>(std::forward<Message>(message)) : std::nullopt;
}

WireWriter& writeNumber64(WireWriter& writer, std::uint64_t number) {
    return writer.u32(static_cast<std::uint32_t>(number >> 32)).u32(static_cast<std::uint32_t>(number));
}

std::uint64_t readNumber64(WireReader& reader) {
    const std::uint64_t high = reader.u32();
    return high << 32 | reader.u32();
}

// Lists stand as a u32 count and their items. Reading stops at the first item that is missing, so that a count
// made up of thin air costs nothing.
template <typename Item, typename Write>
void writeList(WireWriter& writer, const std::vector<Item>& items, Write write) {
    writer.u32(static_cast<std::uint32_t>(items.size()));
    for (const Item& item : items) {
        write(writer, item);
    }
}

template <typename Item, typename Read>
std::vector<Item> readList(WireReader& reader, Read read) {
    std::vector<Item> items;
    for (std::uint32_t left = reader.u32(); left > 0 && reader.ok(); --left) {
        items.push_back(read(reader));
    }
    return items;
}

void writeText(WireWriter& writer, const std::string& text) {
    writer.text32(text);
}

std::string readText(WireReader& reader) {
    return reader.text32();
}

void writeAttribute(WireWriter& writer, const Attribute& attribute) {
    writer.text32(attribute.key).u32(attribute.type).text32(attribute.value);
}

Attribute readAttribute(WireReader& reader) {
    Attribute attribute;
    attribute.key = reader.text32();
    attribute.type = reader.u32();
    attribute.value = reader.text32();
    return attribute;
}

void writeAnswer(WireWriter& writer, const AttributeAnswers::Answer& answer) {
    writer.u32(answer.found ? 1 : 0);
    writeAttribute(writer, answer.attribute);
}

AttributeAnswers::Answer readAnswer(WireReader& reader) {
    AttributeAnswers::Answer answer;
    answer.found = reader.u32() != 0;
    answer.attribute = readAttribute(reader);
    return answer;
}

void writeEntry(WireWriter& writer, const LogEntry& entry) {
    writeNumber64(writer, entry.id);
    writeNumber64(writer, static_cast<std::uint64_t>(entry.seconds));
    writer.i32(entry.microseconds).i32(entry.level).u32(entry.number).u32(entry.flags);
    writer.text32(entry.component).text32(entry.text);
}

LogEntry readEntry(WireReader& reader) {
    LogEntry entry;
    entry.id = readNumber64(reader);
    entry.seconds = static_cast<std::int64_t>(readNumber64(reader));
    entry.microseconds = reader.i32();
    entry.level = reader.i32();
    entry.number = reader.u32();
    entry.flags = reader.u32();
    entry.component = reader.text32();
    entry.text = reader.text32();
    return entry;
}

void writeComponent(WireWriter& writer, const ComponentList::Component& component) {
    writer.text32(component.name).u32(static_cast<std::uint32_t>(component.state));
    writer.u32(component.node).u32(component.process);
}

ComponentList::Component readComponent(WireReader& reader) {
    ComponentList::Component component;
    component.name = reader.text32();
    component.state = static_cast<ComponentState>(reader.u32());
    component.node = reader.u32();
    component.process = reader.u32();
    return component;
}

void writeResult(WireWriter& writer, const TestResults::Result& result) {
    writer.text32(result.profile).u32(result.status);
}

TestResults::Result readResult(WireReader& reader) {
    TestResults::Result result;
    result.profile = reader.text32();
    result.status = reader.u32();
    return result;
}

void writeRule(WireWriter& writer, const FaultRule& rule) {
    writer.u32(static_cast<std::uint32_t>(rule.kind)).u32(static_cast<std::uint32_t>(rule.operation));
    writer.text32(rule.pattern).u32(rule.count).u32(rule.milliseconds).i32(rule.status);
}

FaultRule readRule(WireReader& reader) {
    FaultRule rule;
    rule.kind = static_cast<FaultKind>(reader.u32());
    rule.operation = static_cast<FaultOperation>(reader.u32());
    rule.pattern = reader.text32();
    rule.count = reader.u32();
    rule.milliseconds = reader.u32();
    rule.status = reader.i32();
    return rule;
}

void writeFault(WireWriter& writer, const FaultList::Entry& entry) {
    writer.u32(entry.number);
    writeRule(writer, entry.rule);
}

FaultList::Entry readFault(WireReader& reader) {
    FaultList::Entry entry;
    entry.number = reader.u32();
    entry.rule = readRule(reader);
    return entry;
}

}  // namespace

WireBytes OperatorRequest::encode() const {
    return WireWriter(4 + body.size()).u32(tag).bytes(body).take();
}

std::optional<OperatorRequest> OperatorRequest::decode(WireSpan payload) {
    WireReader reader(payload);
    OperatorRequest message;
    message.tag = reader.u32();
    message.body = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes OperatorReply::encode() const {
    WireWriter writer(12 + reason.size() + body.size());
    return writer.u32(tag).u32(static_cast<std::uint32_t>(status)).text32(reason).bytes(body).take();
}

std::optional<OperatorReply> OperatorReply::decode(WireSpan payload) {
    WireReader reader(payload);
    OperatorReply message;
    message.tag = reader.u32();
    message.status = static_cast<OperatorStatus>(reader.u32());
    message.reason = reader.text32();
    message.body = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes OneText::encode() const {
    return WireWriter(4 + text.size()).text32(text).take();
}

std::optional<OneText> OneText::decode(WireSpan body) {
    WireReader reader(body);
    OneText message{reader.text32()};
    return whole(reader, std::move(message));
}

WireBytes OneTag::encode() const {
    return WireWriter(4).u32(number).take();
}

std::optional<OneTag> OneTag::decode(WireSpan body) {
    WireReader reader(body);
    OneTag message{reader.u32()};
    return whole(reader, std::move(message));
}

WireBytes KeyList::encode() const {
    WireWriter writer;
    writeList(writer, keys, writeText);
    return writer.take();
}

std::optional<KeyList> KeyList::decode(WireSpan body) {
    WireReader reader(body);
    KeyList message{readList<std::string>(reader, readText)};
    return whole(reader, std::move(message));
}

WireBytes AttributeAnswers::encode() const {
    WireWriter writer;
    writeList(writer, answers, writeAnswer);
    return writer.take();
}

std::optional<AttributeAnswers> AttributeAnswers::decode(WireSpan body) {
    WireReader reader(body);
    AttributeAnswers message{readList<Answer>(reader, readAnswer)};
    return whole(reader, std::move(message));
}

WireBytes ListRequest::encode() const {
    return WireWriter().text32(prefix).text32(after).take();
}

std::optional<ListRequest> ListRequest::decode(WireSpan body) {
    WireReader reader(body);
    ListRequest message;
    message.prefix = reader.text32();
    message.after = reader.text32();
    return whole(reader, std::move(message));
}

WireBytes AttributePage::encode() const {
    WireWriter writer;
    writer.u32(more ? 1 : 0);
    writeList(writer, attributes, writeAttribute);
    return writer.take();
}

std::optional<AttributePage> AttributePage::decode(WireSpan body) {
    WireReader reader(body);
    AttributePage message;
    message.more = reader.u32() != 0;
    message.attributes = readList<Attribute>(reader, readAttribute);
    return whole(reader, std::move(message));
}

WireBytes ChangeRequest::encode() const {
    WireWriter writer;
    writeList(writer, set, writeAttribute);
    writeList(writer, unset, writeText);
    return writer.take();
}

std::optional<ChangeRequest> ChangeRequest::decode(WireSpan body) {
    WireReader reader(body);
    ChangeRequest message;
    message.set = readList<Attribute>(reader, readAttribute);
    message.unset = readList<std::string>(reader, readText);
    return whole(reader, std::move(message));
}

WireBytes LogRecord::encode() const {
    return WireWriter(4 + Sw_Log_Type::SIZE).u32(timed ? 1 : 0).bytes(record.encode()).take();
}

std::optional<LogRecord> LogRecord::decode(WireSpan body) {
    WireReader reader(body);
    LogRecord message;
    message.timed = reader.u32() != 0;
    if (Sw_Log_Type::decode(reader.bytes(Sw_Log_Type::SIZE), message.record) < 0) {
        return std::nullopt;
    }
    return whole(reader, std::move(message));
}

WireBytes RawEvent::encode() const {
    return WireWriter(8 + data.size()).u32(category).u32(number).bytes(data).take();
}

std::optional<RawEvent> RawEvent::decode(WireSpan body) {
    WireReader reader(body);
    RawEvent message;
    message.category = reader.u32();
    message.number = reader.u32();
    message.data = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes LogRequest::encode() const {
    WireWriter writer;
    return writeNumber64(writer, since).u32(limit).u32(static_cast<std::uint32_t>(maxLevel)).take();
}

std::optional<LogRequest> LogRequest::decode(WireSpan body) {
    WireReader reader(body);
    LogRequest message;
    message.since = readNumber64(reader);
    message.limit = reader.u32();
    message.maxLevel = static_cast<std::int32_t>(reader.u32());
    return whole(reader, std::move(message));
}

WireBytes LogPage::encode() const {
    WireWriter writer;
    writer.u32(more ? 1 : 0);
    writeList(writer, entries, writeEntry);
    return writer.take();
}

std::optional<LogPage> LogPage::decode(WireSpan body) {
    WireReader reader(body);
    LogPage message;
    message.more = reader.u32() != 0;
    message.entries = readList<LogEntry>(reader, readEntry);
    return whole(reader, std::move(message));
}

WireBytes ComponentList::encode() const {
    WireWriter writer;
    writeList(writer, components, writeComponent);
    return writer.take();
}

std::optional<ComponentList> ComponentList::decode(WireSpan body) {
    WireReader reader(body);
    ComponentList message{readList<Component>(reader, readComponent)};
    return whole(reader, std::move(message));
}

WireBytes WaitRequest::encode() const {
    return WireWriter().text32(component).u32(static_cast<std::uint32_t>(state)).take();
}

std::optional<WaitRequest> WaitRequest::decode(WireSpan body) {
    WireReader reader(body);
    WaitRequest message;
    message.component = reader.text32();
    message.state = static_cast<ComponentState>(reader.u32());
    return whole(reader, std::move(message));
}

WireBytes ManagementCall::encode() const {
    return WireWriter().text32(component).u16(code).u16(answered ? 1 : 0).bytes(payload).take();
}

std::optional<ManagementCall> ManagementCall::decode(WireSpan body) {
    WireReader reader(body);
    ManagementCall message;
    message.component = reader.text32();
    message.code = reader.u16();
    message.answered = reader.u16() != 0;
    message.payload = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes ManagementAnswer::encode() const {
    return WireWriter(2 + payload.size()).u16(code).bytes(payload).take();
}

std::optional<ManagementAnswer> ManagementAnswer::decode(WireSpan body) {
    WireReader reader(body);
    ManagementAnswer message;
    message.code = reader.u16();
    message.payload = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes TestResults::encode() const {
    WireWriter writer;
    writeList(writer, results, writeResult);
    return writer.take();
}

std::optional<TestResults> TestResults::decode(WireSpan body) {
    WireReader reader(body);
    TestResults message{readList<Result>(reader, readResult)};
    return whole(reader, std::move(message));
}

WireBytes ProbeRequest::encode() const {
    return WireWriter().text32(component).u16(code).take();
}

std::optional<ProbeRequest> ProbeRequest::decode(WireSpan body) {
    WireReader reader(body);
    ProbeRequest message;
    message.component = reader.text32();
    message.code = reader.u16();
    return whole(reader, std::move(message));
}

WireBytes RawMessage::encode() const {
    return WireWriter().text32(component).u16(format).u16(code).bytes(payload).take();
}

std::optional<RawMessage> RawMessage::decode(WireSpan body) {
    WireReader reader(body);
    RawMessage message;
    message.component = reader.text32();
    message.format = reader.u16();
    message.code = reader.u16();
    message.payload = reader.rest();
    return whole(reader, std::move(message));
}

WireBytes FaultWire::encode(const FaultRule& rule) {
    WireWriter writer;
    writeRule(writer, rule);
    return writer.take();
}

std::optional<FaultRule> FaultWire::decode(WireSpan body) {
    WireReader reader(body);
    return whole(reader, readRule(reader));
}

WireBytes FaultList::encode() const {
    WireWriter writer;
    writeList(writer, faults, writeFault);
    return writer.take();
}

std::optional<FaultList> FaultList::decode(WireSpan body) {
    WireReader reader(body);
    FaultList message{readList<Entry>(reader, readFault)};
    return whole(reader, std::move(message));
}
