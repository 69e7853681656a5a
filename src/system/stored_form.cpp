#include "system/stored_form.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

namespace qmpic::stored {
namespace {

constexpr char kMagic[4] = {'Q', 'M', 'V', 'T'};
constexpr uint16_t kVersion = 1, kFlags = 0;
constexpr size_t kBlockHead = 16;
// Of a list: bytes of the type name, count and bytes of the nodes.
constexpr char kListType[] = "CQmListVariant";
constexpr size_t kListTypeBytes = sizeof kListType - 1;

// ----- Text --------------------------------------------------------------------------------------

constexpr uint32_t kNoCharacter = UINT32_MAX;

uint32_t code_of(wchar_t c) { return std::bit_cast<uint32_t>(c); }
bool is_character(uint32_t c) { return c != 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

size_t bytes_of(uint32_t c) { return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4; }

/// The character at the front of `text`, which is cut off; kNoCharacter for what is none, and for
/// one that is not in its shortest form.
uint32_t take_character(Bytes& text) {
    const uint32_t first = text[0];
    const size_t size = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if ((first >= 0x80 && first < 0xC0) || first >= 0xF8 || size > text.size()) return kNoCharacter;
    uint32_t c = size == 1 ? first : first & (0x7Fu >> size);
    for (size_t i = 1; i < size; ++i) {
        if ((text[i] & 0xC0) != 0x80) return kNoCharacter;
        c = c << 6 | (text[i] & 0x3F);
    }
    if (!is_character(c) || bytes_of(c) != size) return kNoCharacter;
    text = text.subspan(size);
    return c;
}

bool is_text(Bytes text) {
    while (!text.empty())
        if (take_character(text) == kNoCharacter) return false;
    return true;
}

// ----- Bytes -------------------------------------------------------------------------------------

/// Little-endian, from any address.
template <class Integer>
Integer load(const uint8_t* at) {
    Integer value = 0;
    for (size_t i = sizeof value; i-- > 0;) value = static_cast<Integer>(value << 8 | at[i]);
    return value;
}
template <class Integer>
void store(uint8_t* at, Integer value) {
    for (size_t i = 0; i < sizeof value; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

/// Takes from the front as long as there are enough.
class Cursor {
  public:
    Cursor(const uint8_t* at, const uint8_t* end) : at_(at), end_(end) {}
    explicit operator bool() const { return fine_; }
    const uint8_t* at() const { return at_; }

    Bytes bytes(uint64_t count) {
        if (!fine_ || count > static_cast<size_t>(end_ - at_)) {
            fine_ = false;
            return {};
        }
        const Bytes taken(at_, static_cast<size_t>(count));
        at_ += taken.size();
        return taken;
    }
    template <class Integer>
    Integer integer() {
        const Bytes taken = bytes(sizeof(Integer));
        return taken.empty() ? Integer{0} : load<Integer>(taken.data());
    }
    void refuse_unless(bool good) { fine_ = fine_ && good; }

  private:
    const uint8_t *at_, *end_;
    bool fine_ = true;
};

void take_list(Cursor& cursor, Node& node) {
    const Bytes type = cursor.bytes(cursor.integer<uint16_t>());
    node.light = type.empty();
    cursor.refuse_unless(node.light || (type.size() == kListTypeBytes &&
                                        std::memcmp(type.data(), kListType, type.size()) == 0));
    node.count = cursor.integer<uint32_t>();
    const auto size = cursor.integer<uint64_t>();
    cursor.refuse_unless(node.count <= size / kLeastNode);
    node.content = cursor.bytes(size);
}

void take_payload(Cursor& cursor, Node& node) {
    switch (node.kind()) {
    case Kind::kNull: return;
    case Kind::kUnsigned:
    case Kind::kSigned: node.number.bits = cursor.integer<uint32_t>(); return;
    case Kind::kDouble: node.number.bits = cursor.integer<uint64_t>(); return;
    case Kind::kBool:
        node.number.bits = cursor.integer<uint8_t>();
        cursor.refuse_unless(node.number.bits <= 1);
        return;
    case Kind::kText: {
        const auto size = cursor.integer<uint32_t>();
        cursor.refuse_unless(size <= kTextLimit);
        node.content = cursor.bytes(size);
        return;
    }
    case Kind::kList: take_list(cursor, node); return;
    }
    cursor.refuse_unless(false);
}

/// All of a node but whether its name and text are UTF-8, and what a list holds.
std::optional<Node> take_node(const uint8_t* at, const uint8_t* end) {
    Cursor cursor(at, end);
    Node node{};
    node.number.kind = static_cast<Kind>(cursor.integer<uint8_t>());
    cursor.refuse_unless(cursor.integer<uint8_t>() == 0);
    const auto name = cursor.integer<uint16_t>();
    cursor.refuse_unless(name <= kNameLimit);
    node.name = cursor.bytes(name);
    take_payload(cursor, node);
    if (!cursor) return std::nullopt;
    node.next = cursor.at();
    return node;
}

std::optional<Node> checked_node(const uint8_t* at, const uint8_t* end) {
    const std::optional<Node> node = take_node(at, end);
    if (!node || !is_text(node->name)) return std::nullopt;
    if (node->kind() == Kind::kText && !is_text(node->content)) return std::nullopt;
    return node;
}

}  // namespace

std::optional<size_t> utf8_size(const CQmStringW& text) noexcept {
    size_t size = 0;
    for (size_t i = 0; i < text.GetLength(); ++i) {
        const auto c = code_of(text.c_str()[i]);
        if (!is_character(c)) return std::nullopt;
        size += bytes_of(c);
    }
    return size;
}

bool fits_name(const CQmStringW& name) noexcept {
    const std::optional<size_t> size = utf8_size(name);
    return size && *size <= kNameLimit;
}
bool fits_text(const CQmStringW& text) noexcept {
    const std::optional<size_t> size = utf8_size(text);
    return size && *size <= kTextLimit;
}

std::wstring to_wide(Bytes text) {
    size_t count = 0;
    for (const uint8_t byte : text) count += (byte & 0xC0) != 0x80;
    std::wstring wide(count, L'\0');
    for (wchar_t& c : wide) c = static_cast<wchar_t>(take_character(text));
    return wide;
}

bool equal(Bytes text, const CQmStringW& other) noexcept {
    size_t i = 0;
    for (; !text.empty(); ++i)
        if (i == other.GetLength() || take_character(text) != code_of(other.c_str()[i]))
            return false;
    return i == other.GetLength();
}

// ----- Numbers -----------------------------------------------------------------------------------

namespace {
template <class Integer>
std::optional<Integer> exact(double value) {
    if (!(value >= std::numeric_limits<Integer>::min() &&
          value <= std::numeric_limits<Integer>::max()) ||
        std::trunc(value) != value)
        return std::nullopt;
    return static_cast<Integer>(value);
}

template <class Integer>
std::optional<Integer> integer(const Number& number) {
    switch (number.kind) {
    case Kind::kUnsigned:
    case Kind::kSigned:
    case Kind::kDouble: {
        const std::optional<double> value = number.as_double();
        return value ? exact<Integer>(*value) : std::nullopt;
    }
    case Kind::kBool: return static_cast<Integer>(number.bits);
    default: return std::nullopt;
    }
}
}  // namespace

std::optional<uint32_t> Number::as_unsigned() const noexcept { return integer<uint32_t>(*this); }
std::optional<int32_t> Number::as_signed() const noexcept { return integer<int32_t>(*this); }
std::optional<double> Number::as_double() const noexcept {
    switch (kind) {
    case Kind::kUnsigned: return static_cast<uint32_t>(bits);
    case Kind::kSigned: return static_cast<int32_t>(bits);
    case Kind::kDouble: return std::bit_cast<double>(bits);
    default: return std::nullopt;
    }
}
std::optional<bool> Number::as_bool() const noexcept {
    return kind == Kind::kBool ? std::optional(bits != 0) : std::nullopt;
}

// ----- Writing -----------------------------------------------------------------------------------

template <class Integer>
void Writer::put(Integer value) {
    const size_t at = bytes_.size();
    bytes_.resize(at + sizeof value);
    store(bytes_.data() + at, value);
}
template <class Integer>
void Writer::patch(size_t at, Integer value) {
    store(bytes_.data() + at, value);
}

void Writer::utf8(const CQmStringW& text) {
    for (size_t i = 0; i < text.GetLength(); ++i) {
        const auto c = code_of(text.c_str()[i]);
        const size_t size = bytes_of(c);
        for (size_t rest = size; rest-- > 0;) {
            const uint32_t bits = c >> (6 * rest);
            const bool first = rest + 1 == size;
            bytes_.push_back(static_cast<uint8_t>(!first      ? 0x80 | (bits & 0x3F)
                                                  : size == 1 ? c
                                                              : (0xF00u >> size & 0xFF) | bits));
        }
    }
}

void Writer::head(Kind kind, const CQmStringW& name) {
    put(static_cast<uint8_t>(kind));
    put(uint8_t{0});
    put(static_cast<uint16_t>(utf8_size(name).value_or(0)));
    utf8(name);
}

void Writer::number(const CQmStringW& name, Number value) {
    head(value.kind, name);
    switch (value.kind) {
    case Kind::kUnsigned:
    case Kind::kSigned: put(static_cast<uint32_t>(value.bits)); return;
    case Kind::kDouble: put(value.bits); return;
    case Kind::kBool: put(static_cast<uint8_t>(value.bits)); return;
    default: return;
    }
}
void Writer::text(const CQmStringW& name, const CQmStringW& value) {
    head(Kind::kText, name);
    put(static_cast<uint32_t>(utf8_size(value).value_or(0)));
    utf8(value);
}

size_t Writer::begin_list(const CQmStringW& name, bool light) {
    head(Kind::kList, name);
    const size_t type = light ? 0 : kListTypeBytes;
    put(static_cast<uint16_t>(type));
    bytes_.insert(bytes_.end(), kListType, kListType + type);
    const size_t begin = bytes_.size();
    put(uint32_t{0});
    put(uint64_t{0});
    return begin;
}
void Writer::end_list(size_t begin, uint32_t count) {
    const size_t content = begin + sizeof count + sizeof(uint64_t);
    patch(begin, count);
    patch(begin + sizeof count, static_cast<uint64_t>(bytes_.size() - content));
}

size_t Writer::begin_block() {
    const size_t begin = bytes_.size();
    bytes_.insert(bytes_.end(), std::begin(kMagic), std::end(kMagic));
    put(kVersion);
    put(kFlags);
    put(uint64_t{0});
    return begin;
}
void Writer::end_block(size_t begin) {
    const auto body = static_cast<uint64_t>(bytes_.size() - begin - kBlockHead);
    patch(begin + kBlockHead - sizeof body, body);
}

// ----- Reading -----------------------------------------------------------------------------------

std::optional<Node> read_block(const void* bytes, size_t size) noexcept {
    if (bytes == nullptr) return std::nullopt;
    const auto* const begin = static_cast<const uint8_t*>(bytes);
    const uint8_t* const end = begin + size;
    Cursor head(begin, end);
    const Bytes magic = head.bytes(sizeof kMagic);
    head.refuse_unless(head && std::memcmp(magic.data(), kMagic, sizeof kMagic) == 0);
    head.refuse_unless(head.integer<uint16_t>() == kVersion);
    head.refuse_unless(head.integer<uint16_t>() == kFlags);
    const auto body = head.integer<uint64_t>();
    if (!head || body != static_cast<size_t>(end - head.at())) return std::nullopt;

    const std::optional<Node> outermost = checked_node(head.at(), end);
    if (!outermost || outermost->next != end) return std::nullopt;

    struct Level {
        const uint8_t *at, *end;
        uint32_t left;
    };
    std::array<Level, kDepthLimit + 1> open;
    size_t depth = 0;
    const auto open_list = [&](const Node& list) {
        const uint8_t* const first = list.content.data();
        open[depth++] = {first, first + list.content.size(), list.count};
    };
    if (outermost->kind() == Kind::kList) open_list(*outermost);
    while (depth > 0) {
        Level& level = open[depth - 1];
        if (level.left == 0) {
            if (level.at != level.end) return std::nullopt;
            --depth;
            continue;
        }
        const std::optional<Node> node = checked_node(level.at, level.end);
        if (!node) return std::nullopt;
        level.at = node->next;
        --level.left;
        if (node->kind() != Kind::kList) continue;
        if (depth == open.size()) return std::nullopt;
        open_list(*node);
    }
    return outermost;
}

Node node_at(const uint8_t* at, const uint8_t* end) noexcept {
    return take_node(at, end).value_or(Node{});
}

}  // namespace qmpic::stored
