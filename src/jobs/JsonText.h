#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace JobsManagerD {

/// Writes a JSON text straight from values: compact, on one line, the keys of each object in ascending byte order, byte
/// for byte as the JSON library dumps the same document with bytes that are no UTF-8 replaced. The members of an object
/// may come in any order, and of two with one key the later counts; a key has to live until its object ends. Written
/// as it will be read, each call in its place: a value after a key or inside an array.
class JsonText {
public:
    void BeginObject();
    void EndObject();
    void BeginArray();
    void EndArray();
    void Key(std::string_view key);

    void Value(std::string_view text);
    void Value(const char* text) { Value(std::string_view(text)); }
    void Value(bool flag) { _Value(flag ? "true" : "false"); }
    template <std::integral Number>
    void Value(Number number) {
        _Value(std::to_string(number));
    }
    /// A text that is JSON already, compact and in order.
    void Json(std::string_view json) { _Value(json); }

    template <typename Any>
    void Member(std::string_view key, const Any& value) {
        Key(key);
        Value(value);
    }

    /// The text; the writer is empty afterwards.
    std::string Take();

private:
    struct MemberPlace {
        std::string_view key;
        size_t begin;
    };
    struct Object {
        size_t firstMember;
        bool isInOrder = true;
    };

    void _Separate();
    void _Value(std::string_view json);
    void _String(std::string_view text);
    void _Sort(const Object& object);

    std::string _text;
    std::vector<MemberPlace> _members;
    std::vector<Object> _objects;
};

} // namespace JobsManagerD
