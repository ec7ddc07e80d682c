// Walk over the protocol-buffer fields of an ONNX file. Only what describes the graph's ends is
// looked at; everything else is stepped over.
#include "host/inference/onnx_file.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace host {
namespace {

// Field numbers of the messages on the way from the model to the sizes of its tensors.
constexpr std::uint64_t kModelGraph = 7;
constexpr std::uint64_t kGraphInitializer = 5;
constexpr std::uint64_t kGraphInput = 11;
constexpr std::uint64_t kGraphOutput = 12;
constexpr std::uint64_t kInitializerName = 8;
constexpr std::uint64_t kValueName = 1;
constexpr std::uint64_t kValueType = 2;
constexpr std::uint64_t kTypeTensor = 1;
constexpr std::uint64_t kTensorElement = 1;
constexpr std::uint64_t kTensorShape = 2;
constexpr std::uint64_t kShapeDim = 1;
constexpr std::uint64_t kDimValue = 1;

using Bytes = std::span<const std::uint8_t>;

enum class Wire { kVarint = 0, kFixed64 = 1, kBytes = 2, kFixed32 = 5 };

struct Field {
    std::uint64_t number = 0;
    Wire wire = Wire::kVarint;
    std::uint64_t value = 0;  // of a varint
    Bytes bytes;              // of a string or a message
};

// Steps from field to field of one message; `ok` turns false where the bytes end too early or are
// not fields.
class Cursor {
  public:
    explicit Cursor(Bytes bytes) : left_(bytes) {}

    bool ok() const { return ok_; }

    bool next(Field& field) {
        if (!ok_ || left_.empty()) return false;
        const std::uint64_t tag = varint();
        field = Field{};
        field.number = tag >> 3;
        field.wire = static_cast<Wire>(tag & 7);
        switch (field.wire) {
            case Wire::kVarint:
                field.value = varint();
                break;
            case Wire::kFixed64:
                take(8);
                break;
            case Wire::kBytes:
                field.bytes = take(varint());
                break;
            case Wire::kFixed32:
                take(4);
                break;
            default:
                ok_ = false;
        }
        if (field.number == 0) ok_ = false;
        return ok_;
    }

  private:
    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !left_.empty(); shift += 7) {
            const std::uint8_t byte = left_.front();
            left_ = left_.subspan(1);
            value |= std::uint64_t{byte & 0x7fu} << shift;
            if ((byte & 0x80u) == 0) return value;
        }
        ok_ = false;
        return 0;
    }

    Bytes take(std::uint64_t count) {
        if (count > left_.size()) {
            ok_ = false;
            return {};
        }
        const Bytes taken = left_.first(static_cast<std::size_t>(count));
        left_ = left_.subspan(static_cast<std::size_t>(count));
        return taken;
    }

    Bytes left_;
    bool ok_ = true;
};

// Calls read(field) for every field; false when the message is broken or `read` says so.
template <typename Read>
bool for_each_field(Bytes message, const Read& read) {
    Cursor cursor(message);
    Field field;
    while (cursor.next(field)) {
        if (!read(field)) return false;
    }
    return cursor.ok();
}

std::string text_of(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

bool read_dim(Bytes message, std::vector<std::int64_t>& shape) {
    std::int64_t size = -1;
    const bool ok = for_each_field(message, [&size](const Field& field) {
        if (field.number == kDimValue && field.wire == Wire::kVarint) {
            size = static_cast<std::int64_t>(field.value);
        }
        return true;
    });
    shape.push_back(size);
    return ok;
}

bool read_tensor_type(Bytes message, OnnxTensor& tensor) {
    return for_each_field(message, [&tensor](const Field& field) {
        if (field.number == kTensorElement && field.wire == Wire::kVarint) {
            tensor.element_type = static_cast<int>(field.value);
        }
        if (field.number != kTensorShape) return true;
        return for_each_field(field.bytes, [&tensor](const Field& dim) {
            return dim.number != kShapeDim || read_dim(dim.bytes, tensor.shape);
        });
    });
}

bool read_value(Bytes message, std::vector<OnnxTensor>& values) {
    OnnxTensor tensor;
    const bool ok = for_each_field(message, [&tensor](const Field& field) {
        if (field.number == kValueName) tensor.name = text_of(field.bytes);
        if (field.number != kValueType) return true;
        return for_each_field(field.bytes, [&tensor](const Field& type) {
            return type.number != kTypeTensor || read_tensor_type(type.bytes, tensor);
        });
    });
    values.push_back(std::move(tensor));
    return ok;
}

bool read_constant_name(Bytes message, std::set<std::string>& names) {
    return for_each_field(message, [&names](const Field& field) {
        if (field.number == kInitializerName) names.insert(text_of(field.bytes));
        return true;
    });
}

bool read_graph(Bytes message, OnnxOutline& outline) {
    std::set<std::string> constants;
    const bool ok = for_each_field(message, [&](const Field& field) {
        switch (field.number) {
            case kGraphInitializer:
                return read_constant_name(field.bytes, constants);
            case kGraphInput:
                return read_value(field.bytes, outline.inputs);
            case kGraphOutput:
                return read_value(field.bytes, outline.outputs);
            default:
                return true;
        }
    });
    std::erase_if(outline.inputs,
                  [&constants](const OnnxTensor& t) { return constants.contains(t.name); });
    return ok;
}

}  // namespace

std::optional<OnnxOutline> read_onnx_outline(std::span<const std::uint8_t> bytes) {
    OnnxOutline outline;
    bool has_graph = false;
    const bool ok = for_each_field(bytes, [&](const Field& field) {
        if (field.number != kModelGraph || field.wire != Wire::kBytes) return true;
        has_graph = true;
        return read_graph(field.bytes, outline);
    });
    if (!ok || !has_graph) return std::nullopt;
    return outline;
}

std::string shape_text(const std::vector<std::int64_t>& shape) {
    if (shape.empty()) return "no size";
    std::string text;
    for (const std::int64_t size : shape) {
        text += (text.empty() ? "" : " x ") + (size < 0 ? "?" : std::to_string(size));
    }
    return text;
}

}  // namespace host
