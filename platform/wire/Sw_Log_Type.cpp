#include "Sw_Log_Type.h"

#include "platform/wire/Wire.h"

namespace {

constexpr std::size_t PADDING = 2;  // the text begins on a word

}  // namespace

int Sw_Log_Type::decode(std::span<const std::uint8_t> data, Sw_Log_Type& record) {
    if (data.size() < SIZE) {
        return -1;
    }
    WireReader reader(data.first(SIZE));
    Sw_Log_Type read;
    read.kind = reader.i32();
    read.number = reader.u32();
    read.slot = reader.i32();
    read.chip = reader.i32();
    read.port = reader.i32();
    read.spare = reader.i32();
    read.flags = reader.u32();
    read.componentClass = reader.u32();
    read.seconds = reader.u32();
    read.microseconds = reader.u32();
    read.location1 = reader.i32();
    read.location2 = reader.i32();
    read.locationIndex = reader.i16();
    read.locationName1 = reader.fixedText(NAME_SIZE);
    read.locationName2 = reader.fixedText(NAME_SIZE);
    reader.bytes(PADDING);
    read.text = reader.fixedText(TEXT_SIZE);
    record = std::move(read);
    return 0;
}

std::vector<std::uint8_t> Sw_Log_Type::encode() const {
    WireWriter writer(SIZE);
    writer.i32(kind).u32(number).i32(slot).i32(chip).i32(port).i32(spare).u32(flags).u32(componentClass);
    writer.u32(seconds).u32(microseconds).i32(location1).i32(location2).i16(locationIndex);
    writer.terminatedText(locationName1, NAME_SIZE).terminatedText(locationName2, NAME_SIZE);
    return writer.zeros(PADDING).terminatedText(text, TEXT_SIZE).take();
}
