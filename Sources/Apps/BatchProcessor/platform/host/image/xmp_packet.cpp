#include "platform/host/image/xmp_packet.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <random>
#include <type_traits>
#include <utility>

#include "text/conversions.h"

namespace platform::host::image {

namespace {

constexpr int deepest_nesting = 200;
constexpr std::size_t most_bindings = 1000;
constexpr std::size_t most_descriptions = 32;  // that can take new fields; fields are found in all of them
constexpr std::size_t longest_packet = std::size_t{64} << 20;
constexpr char name_separator = '\n';
constexpr std::string_view white_space = " \t\r\n";

// Against names made to collide. By itself the parser asks the system for one each time.
unsigned long hash_salt() {
  static const unsigned long salt = std::random_device{}() | 1UL;  // 0 would have it ask again
  return salt;
}

struct expanded_name {
  std::string_view uri;
  std::string_view local;
  std::string_view prefix;

  [[nodiscard]] std::string qualified() const {
    return prefix.empty() ? std::string(local) : std::string(prefix) + ":" + std::string(local);
  }
  [[nodiscard]] bool is_rdf(std::string_view name) const { return uri == rdf_uri && local == name; }
};

// "uri LF local LF prefix", "uri LF local" in a default namespace, "local" without any.
expanded_name expand(std::string_view name) {
  const std::size_t first = name.find(name_separator);
  if (first == std::string_view::npos) return {{}, name, {}};
  const std::size_t second = name.find(name_separator, first + 1);
  if (second == std::string_view::npos) return {name.substr(0, first), name.substr(first + 1), {}};
  return {name.substr(0, first), name.substr(first + 1, second - first - 1), name.substr(second + 1)};
}

std::optional<xmp_field> field_of(const expanded_name& name) {
  for (std::size_t i = 0; i < xmp_field_count; ++i) {
    if (is_namespace_of(xmp_names[i], name.uri) && xmp_names[i].local == name.local) return static_cast<xmp_field>(i);
  }
  return std::nullopt;
}

struct tag_attribute {
  text_range whole;  // with the white space before it
  text_range value;  // between the quotes
  std::string_view name;
};

// The attributes of a start tag that expat found to be well formed; `tag` in offsets of `text`.
std::vector<tag_attribute> attributes_of(std::string_view text, const text_range& tag) {
  std::vector<tag_attribute> attributes;
  std::size_t at = text.find_first_of(" \t\r\n/>", tag.begin + 1);
  while (at < tag.end) {
    const std::size_t name = text.find_first_not_of(white_space, at);
    if (name >= tag.end || text[name] == '/' || text[name] == '>') break;
    const std::size_t name_end = text.find_first_of(" \t\r\n=", name);
    const std::size_t quote = text.find_first_of("\"'", name_end);
    if (quote >= tag.end) break;
    const std::size_t close = text.find(text[quote], quote + 1);
    if (close >= tag.end) break;
    attributes.push_back({{at, close + 1}, {quote + 1, close}, text.substr(name, name_end - name)});
    at = close + 1;
  }
  return attributes;
}

// Builds the packet from expat's events. Levels count from 1 at the root element; those below are relative to rdf:RDF.
class packet_reader {
 public:
  explicit packet_reader(xmp_packet& packet) : packet_(packet) {}

  bool run();

 private:
  // The levels of what matters inside rdf:RDF.
  enum : int { description_level = 1, property_level = 2, list_level = 3, item_level = 4 };

  struct binding {
    std::string prefix;
    std::string uri;
  };

  static packet_reader& self(void* data) { return *static_cast<packet_reader*>(data); }

  void set_handlers();
  void refuse() {
    refused_ = true;
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  [[nodiscard]] text_range current() const {
    const auto begin = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()));
    return {begin, begin + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get()))};
  }
  [[nodiscard]] bool in_rdf() const { return rdf_level_ > 0 && level_ > rdf_level_ && !rdf_closed_; }
  [[nodiscard]] int level_in_rdf() const { return level_ - rdf_level_; }
  [[nodiscard]] text_range with_space_before(text_range range) const {
    const std::size_t text_end =
        range.begin == 0 ? std::string::npos : packet_.text.find_last_not_of(white_space, range.begin - 1);
    return {text_end == std::string::npos ? 0 : text_end + 1, range.end};
  }

  void start_element(const char* name, const char** attributes);
  void end_element();
  void characters(std::string_view text);
  void instruction(std::string_view target, std::string_view data);

  [[nodiscard]] xmp_host_element host_element(const expanded_name& name) const;
  void start_description(const expanded_name& name, const char** attributes);
  void start_property(const expanded_name& name);
  void start_inside_property(const expanded_name& name);
  void end_inside_property(const text_range& tag);
  void end_property(const text_range& tag);
  void find_padding();

  struct parser_deleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  xmp_packet& packet_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, parser_deleter> parser_;
  bool refused_ = false;
  int level_ = 0;
  int rdf_level_ = 0;
  bool rdf_closed_ = false;
  bool in_description_ = false;
  bool description_kept_ = false;
  std::vector<binding> bindings_;
  std::size_t root_end_ = 0;
  std::optional<std::size_t> end_marker_;

  // The property being read.
  std::optional<xmp_occurrence> property_;
  text_range property_tag_;
  int children_ = 0;   // elements directly inside
  bool list_ = false;  // the first of them is a list
  bool list_is_bag_ = false;
  std::string text_;              // of the item, or of a property without items
  bool text_from_value_ = false;  // an rdf:value was met: other text no longer counts
  int value_level_ = 0;           // of the rdf:value being read
  std::size_t item_begin_ = 0;
};

bool packet_reader::run() {
  const std::string& text = packet_.text;
  const std::size_t length = text.find_last_not_of('\0') + 1;  // some writers end a packet in NULs
  // A byte order mark or a NUL is how UTF-16 and UTF-32 show.
  if (length == 0 || length > longest_packet || text.find('\0') < length || text[0] == '\xfe' || text[0] == '\xff') {
    return false;
  }
  parser_.reset(XML_ParserCreateNS("UTF-8", name_separator));
  if (!parser_) return false;
  XML_SetHashSalt(parser_.get(), hash_salt());
  set_handlers();
  const XML_Status status = XML_Parse(parser_.get(), text.data(), static_cast<int>(length), XML_TRUE);
  if (status != XML_STATUS_OK || refused_ || rdf_level_ == 0) return false;
  find_padding();
  return true;
}

void packet_reader::set_handlers() {
  XML_Parser parser = parser_.get();
  XML_SetUserData(parser, this);
  XML_SetReturnNSTriplet(parser, 1);
  XML_SetElementHandler(
      parser, [](void* data, const char* name, const char** attributes) { self(data).start_element(name, attributes); },
      [](void* data, const char*) { self(data).end_element(); });
  XML_SetCharacterDataHandler(parser, [](void* data, const char* text, int length) {
    self(data).characters({text, static_cast<std::size_t>(length)});
  });
  XML_SetProcessingInstructionHandler(
      parser, [](void* data, const char* target, const char* content) { self(data).instruction(target, content); });
  XML_SetNamespaceDeclHandler(
      parser,
      [](void* data, const char* prefix, const char* uri) {
        packet_reader& reader = self(data);
        reader.bindings_.push_back({prefix != nullptr ? prefix : "", uri != nullptr ? uri : ""});
        if (reader.bindings_.size() > most_bindings) reader.refuse();
      },
      [](void* data, const char*) { self(data).bindings_.pop_back(); });
  XML_SetStartDoctypeDeclHandler(parser,
                                 [](void* data, const char*, const char*, const char*, int) { self(data).refuse(); });
  XML_SetXmlDeclHandler(parser, [](void* data, const char*, const char* encoding, int) {
    if (encoding == nullptr) return;
    std::string name(encoding);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (name != "utf-8" && name != "us-ascii") self(data).refuse();
  });
}

void packet_reader::start_element(const char* name, const char** attributes) {
  if (refused_) return;
  if (++level_ > deepest_nesting) return refuse();
  const expanded_name expanded = expand(name);
  if (rdf_level_ == 0 && expanded.is_rdf("RDF")) {
    rdf_level_ = level_;
    packet_.rdf = host_element(expanded);
    return;
  }
  if (!in_rdf()) return;
  if (level_in_rdf() == description_level) {
    in_description_ = expanded.is_rdf("Description");
    if (in_description_) start_description(expanded, attributes);
  } else if (level_in_rdf() == property_level && in_description_) {
    start_property(expanded);
  } else if (property_) {
    start_inside_property(expanded);
  }
}

xmp_host_element packet_reader::host_element(const expanded_name& name) const {
  xmp_host_element element;
  element.name = name.qualified();
  element.start_tag = current();
  const std::size_t end = element.start_tag.end;
  element.closes_itself = end - element.start_tag.begin >= 2 && packet_.text[end - 2] == '/';
  element.end_tag = end;
  const std::size_t last_character = end - (element.closes_itself ? 3 : 2);
  element.attributes_end = packet_.text.find_last_not_of(white_space, last_character) + 1;
  for (std::size_t i = 0; i < xmp_field_count; ++i) {
    // The innermost binding of a prefix is the one that holds.
    for (auto it = bindings_.rbegin(); it != bindings_.rend(); ++it) {
      const bool ours = is_namespace_of(xmp_names[i], it->uri);
      if (it->prefix.empty() || (!ours && it->prefix != xmp_names[i].prefix)) continue;
      if (std::any_of(bindings_.rbegin(), it, [&it](const binding& inner) { return inner.prefix == it->prefix; })) {
        continue;
      }
      if (!ours) {
        element.prefix_taken[i] = true;
      } else if (element.prefixes[i].empty()) {
        element.prefixes[i] = it->prefix;
      }
    }
  }
  return element;
}

void packet_reader::start_description(const expanded_name& name, const char** attributes) {
  description_kept_ = packet_.descriptions.size() < most_descriptions;
  if (description_kept_) packet_.descriptions.push_back(host_element(name));
  std::vector<tag_attribute> written;
  for (; attributes[0] != nullptr; attributes += 2) {
    const expanded_name attribute = expand(attributes[0]);
    const std::optional<xmp_field> field = field_of(attribute);
    if (!field) continue;
    if (written.empty()) written = attributes_of(packet_.text, current());
    const std::string qualified = attribute.qualified();
    const auto found = std::find_if(written.begin(), written.end(), [&qualified](const tag_attribute& candidate) {
      return candidate.name == qualified;
    });
    if (found == written.end()) return refuse();
    xmp_occurrence occurrence;
    occurrence.field = *field;
    occurrence.form = xmp_form::attribute;
    occurrence.whole = found->whole;
    occurrence.content = found->value;
    occurrence.items.push_back({attributes[1], {}});
    packet_.occurrences.push_back(std::move(occurrence));
  }
}

void packet_reader::start_property(const expanded_name& name) {
  const std::optional<xmp_field> field = field_of(name);
  if (!field) return;
  property_.emplace();
  property_->field = *field;
  property_->name = name.qualified();
  property_tag_ = current();
  property_->content.begin = property_tag_.end;
  children_ = 0;
  list_ = list_is_bag_ = text_from_value_ = false;
  value_level_ = 0;
  text_.clear();
}

void packet_reader::start_inside_property(const expanded_name& name) {
  if (level_in_rdf() == list_level) {
    ++children_;
    if (children_ == 1 && (name.is_rdf("Bag") || name.is_rdf("Seq") || name.is_rdf("Alt"))) {
      list_ = true;
      list_is_bag_ = name.is_rdf("Bag");
      property_->content.begin = current().end;
      property_->bag_prefix = name.prefix.empty() ? "" : std::string(name.prefix) + ":";
      return;
    }
  }
  if (list_ && level_in_rdf() == item_level) {
    item_begin_ = current().begin;
    text_.clear();
    text_from_value_ = false;
  } else if (name.is_rdf("value") && value_level_ == 0) {
    value_level_ = level_;
    text_from_value_ = true;
    text_.clear();
  }
}

void packet_reader::characters(std::string_view text) {
  if (!property_ || refused_) return;
  const int text_level = list_ ? item_level : property_level;
  const bool plain = !text_from_value_ && level_in_rdf() == text_level;
  if (plain || (value_level_ != 0 && level_ == value_level_)) text_ += text;
}

void packet_reader::end_element() {
  if (refused_) return;
  const text_range tag = current();  // empty, and behind the tag, for one that closes itself
  if (level_ == rdf_level_ && !rdf_closed_) {
    rdf_closed_ = true;
    packet_.rdf.end_tag = tag.begin;
  } else if (in_rdf()) {
    if (level_in_rdf() == description_level && in_description_) {
      if (description_kept_) packet_.descriptions.back().end_tag = tag.begin;
      in_description_ = false;
    } else if (property_ && level_in_rdf() == property_level) {
      end_property(tag);
    } else if (property_) {
      end_inside_property(tag);
    }
  }
  if (level_ == 1) root_end_ = tag.end;
  --level_;
}

void packet_reader::end_inside_property(const text_range& tag) {
  if (level_ == value_level_) value_level_ = 0;
  if (!list_ || children_ != 1) return;
  if (level_in_rdf() == item_level) {
    property_->items.push_back({text_, {item_begin_, tag.end}});
  } else if (level_in_rdf() == list_level) {
    if (tag.size() == 0) list_is_bag_ = false;  // <rdf:Bag/>, nothing can be put between its tags
    property_->content.end = tag.begin;
  }
}

void packet_reader::end_property(const text_range& tag) {
  xmp_occurrence& property = *property_;
  const bool bag_alone = list_ && list_is_bag_ && children_ == 1;
  const bool text_alone = children_ == 0 && tag.size() > 0;
  property.form = bag_alone ? xmp_form::bag : text_alone ? xmp_form::text : xmp_form::other;
  if (!list_) {
    property.content.end = tag.begin;
    property.items.push_back({text_, {}});
  }
  property.whole = with_space_before({property_tag_.begin, tag.end});
  packet_.occurrences.push_back(std::move(property));
  property_.reset();
}

void packet_reader::instruction(std::string_view target, std::string_view data) {
  if (target != "xpacket" || !data.starts_with("end=") || root_end_ == 0) return;
  end_marker_ = current().begin;
}

void packet_reader::find_padding() {
  const std::size_t end = end_marker_.value_or(packet_.text.find_last_not_of('\0') + 1);
  packet_.padding = with_space_before({end, end});
}

}  // namespace

std::optional<std::string> utf8_from_utf16_xmp(std::string_view bytes) {
  using namespace std::string_view_literals;
  const bool is_big = bytes.starts_with("\xfe\xff"sv) || bytes.starts_with("\0<"sv);
  const bool is_little = bytes.starts_with("\xff\xfe"sv) || bytes.starts_with("<\0"sv);
  if ((!is_big && !is_little) || bytes.size() % 2 != 0 || bytes.size() > longest_packet) return std::nullopt;
  std::string little(bytes);
  for (std::size_t i = 0; is_big && i < little.size(); i += 2)
    std::swap(little[i], little[i + 1]);
  if (little.starts_with("\xff\xfe"sv)) little.erase(0, 2);
  return text::utf8_from_wide(text::wide_from_utf16le(little));
}

std::optional<xmp_packet> parse_xmp_packet(std::string text) {
  xmp_packet packet;
  packet.text = std::move(text);
  if (!packet_reader(packet).run()) return std::nullopt;
  return packet;
}

std::optional<std::vector<std::string>> xmp_values(const xmp_packet& packet, xmp_field field) {
  for (const xmp_occurrence& occurrence : packet.occurrences) {
    if (occurrence.field != field) continue;
    std::vector<std::string> values;
    for (const xmp_item& item : occurrence.items)
      values.push_back(item.value);
    return values;
  }
  return std::nullopt;
}

}  // namespace platform::host::image
