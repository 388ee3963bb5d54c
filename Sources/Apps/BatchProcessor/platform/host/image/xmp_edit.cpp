#include <algorithm>
#include <cstdint>

#include "platform/host/image/xmp_packet.h"

namespace platform::host::image {

namespace {

constexpr std::size_t new_padding_size = 2048;
constexpr std::string_view white_space = " \t\r\n";
constexpr std::string_view replacement_character = "\xef\xbf\xbd";

struct text_edit {
  text_range range;
  std::string text;
};

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(white_space);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(white_space) - begin + 1);
}

// What XML 1.0 has no way to say becomes U+FFFD.
std::string xml_sayable(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool control = byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    const std::string_view three = text.substr(i, 3);
    if (three == "\xef\xbf\xbe" || three == "\xef\xbf\xbf") {
      out += replacement_character;
      i += 2;
    } else if (control) {
      out += replacement_character;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\r':
        out += "&#xD;";
        break;  // a bare one would be read back as a line feed
      default:
        out += c;
    }
  }
  return out;
}

std::string padding_of(std::size_t size) {
  constexpr std::size_t line = 100;
  std::string padding(size, ' ');
  for (std::size_t i = 0; i < size; i += line)
    padding[i] = '\n';
  return padding;
}

bool same_values(const xmp_occurrence& occurrence, const std::vector<std::string>& values) {
  const bool is_bag = name_of(occurrence.field).is_bag;
  return std::equal(occurrence.items.begin(), occurrence.items.end(), values.begin(), values.end(),
                    [is_bag](const xmp_item& item, const std::string& value) {
                      return is_bag ? item.value == value : trimmed(item.value) == value;
                    });
}

// Collects what a description (or a new one) gets: attributes for its start tag and elements for its end.
struct additions {
  std::string attributes;
  std::string children;
};

class packet_editor {
 public:
  explicit packet_editor(const xmp_packet& packet) : packet_(packet) {
    for (const xmp_host_element& description : packet.descriptions)
      hosts_.push_back(description);
    if (hosts_.empty()) hosts_.emplace_back();
    additions_.resize(hosts_.size());
  }

  void change(const xmp_change& change);
  [[nodiscard]] std::optional<std::string> apply(std::size_t size_limit);

 private:
  [[nodiscard]] std::string_view at(const text_range& range) const {
    return std::string_view(packet_.text).substr(range.begin, range.size());
  }
  void replace(const text_range& range, std::string text) { edits_.push_back({range, std::move(text)}); }
  void set(const xmp_occurrence& occurrence, const std::vector<std::string>& values);
  void add(xmp_field field, const std::vector<std::string>& values);
  [[nodiscard]] std::string bag_content(const xmp_occurrence& occurrence, const std::vector<std::string>& values) const;
  [[nodiscard]] std::string self_contained(const xmp_occurrence& occurrence,
                                           const std::vector<std::string>& values) const;
  [[nodiscard]] std::string prefix_for(xmp_field field, std::size_t host);
  void place_additions();
  void place_new_description();

  const xmp_packet& packet_;
  std::vector<xmp_host_element> hosts_;  // the packet's descriptions; where it has none, a new one
  std::vector<additions> additions_;     // one for each host
  std::vector<text_edit> edits_;
};

void packet_editor::change(const xmp_change& change) {
  bool present = false;
  for (const xmp_occurrence& occurrence : packet_.occurrences) {
    if (occurrence.field != change.field) continue;
    if (same_values(occurrence, change.values)) {
      present = true;
    } else if (change.values.empty() || (occurrence.form == xmp_form::attribute && name_of(change.field).is_bag)) {
      replace(occurrence.whole, "");  // a list can't be an attribute: it is added as an element
    } else {
      set(occurrence, change.values);
      present = true;
    }
  }
  if (!present && !change.values.empty()) add(change.field, change.values);
}

void packet_editor::set(const xmp_occurrence& occurrence, const std::vector<std::string>& values) {
  const bool is_bag = name_of(occurrence.field).is_bag;
  if (is_bag && occurrence.form == xmp_form::bag) {
    replace(occurrence.content, bag_content(occurrence, values));
  } else if (!is_bag && (occurrence.form == xmp_form::text || occurrence.form == xmp_form::attribute)) {
    replace(occurrence.content, escaped(values.front()));
  } else {
    const std::string_view old = at(occurrence.whole);
    const std::string_view space = old.substr(0, old.find('<'));
    replace(occurrence.whole, std::string(space) + self_contained(occurrence, values));
  }
}

// What stands between two items (white space, comments, instructions) goes with the item behind it. One that stays
// keeps its own text, with all that it may carry; one that goes leaves what is more than white space.
std::string packet_editor::bag_content(const xmp_occurrence& occurrence, const std::vector<std::string>& values) const {
  const std::vector<xmp_item>& items = occurrence.items;
  constexpr std::size_t none = static_cast<std::size_t>(-1);
  std::vector<bool> is_kept(items.size());
  std::vector<std::size_t> sources;  // for each value the item that has it
  for (const std::string& value : values) {
    std::size_t i = 0;
    while (i < items.size() && (is_kept[i] || items[i].value != value))
      ++i;
    if (i < items.size()) is_kept[i] = true;
    sources.push_back(i < items.size() ? i : none);
  }
  std::vector<std::string> leads;
  std::string left;
  std::size_t end = occurrence.content.begin;
  for (const xmp_item& item : items) {
    const std::string_view lead = at({end, item.element.begin});
    end = item.element.end;
    leads.push_back(left);
    if (is_kept[leads.size() - 1]) {
      leads.back() += lead;
      left.clear();
    } else if (!trimmed(lead).empty()) {
      left += lead;
    }
  }
  std::string_view space = items.empty() ? "" : at({occurrence.content.begin, items.front().element.begin});
  space = space.substr(0, space.find_first_not_of(white_space));

  std::string content;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (const std::size_t source = sources[i]; source != none) {
      content.append(leads[source]).append(at(items[source].element));
    } else {
      content.append(space).append("<").append(occurrence.bag_prefix).append("li>").append(escaped(values[i]));
      content.append("</").append(occurrence.bag_prefix).append("li>");
    }
  }
  return content.append(left).append(at({end, occurrence.content.end}));
}

// In place of a form that can't be edited: an element that depends on no namespace declared around it.
std::string packet_editor::self_contained(const xmp_occurrence& occurrence,
                                          const std::vector<std::string>& values) const {
  const std::size_t colon = occurrence.name.find(':');
  const std::string declaration = colon == std::string::npos ? "xmlns" : "xmlns:" + occurrence.name.substr(0, colon);
  const xmp_name& name = name_of(occurrence.field);
  std::string text = "<" + occurrence.name + " " + declaration + "=\"" + std::string(name.uri) + "\">";
  if (name.is_bag) {
    text += "<rdf:Bag xmlns:rdf=\"" + std::string(rdf_uri) + "\">";
    for (const std::string& value : values)
      text += "<rdf:li>" + escaped(value) + "</rdf:li>";
    text += "</rdf:Bag>";
  } else {
    text += escaped(values.front());
  }
  return text + "</" + occurrence.name + ">";
}

std::string packet_editor::prefix_for(xmp_field field, std::size_t host) {
  const auto index = static_cast<std::size_t>(field);
  xmp_host_element& element = hosts_[host];
  if (!element.prefixes[index].empty()) return element.prefixes[index];
  std::string prefix(xmp_names[index].prefix);
  if (element.prefix_taken[index]) prefix += "_own";  // where that is taken too, the check of the result sees it
  additions_[host].attributes += " xmlns:" + prefix + "=\"" + std::string(xmp_names[index].uri) + "\"";
  for (std::size_t i = 0; i < xmp_field_count; ++i) {
    if (xmp_names[i].uri == xmp_names[index].uri) element.prefixes[i] = prefix;
  }
  return prefix;
}

void packet_editor::add(xmp_field field, const std::vector<std::string>& values) {
  const auto index = static_cast<std::size_t>(field);
  const auto declared = std::find_if(hosts_.begin(), hosts_.end(), [index](const xmp_host_element& candidate) {
    return !candidate.prefixes[index].empty();
  });
  const auto host = declared == hosts_.end() ? 0 : static_cast<std::size_t>(declared - hosts_.begin());
  const xmp_name& name = name_of(field);
  const std::string qualified = prefix_for(field, host) + ":" + std::string(name.local);
  if (!name.is_bag) {
    additions_[host].attributes += " " + qualified + "=\"" + escaped(values.front()) + "\"";
    return;
  }
  const bool rdf_known = packet_.rdf.name == "rdf:RDF";
  std::string& text = additions_[host].children;
  text += "\n   <" + qualified + ">\n    <rdf:Bag";
  if (!rdf_known) text += " xmlns:rdf=\"" + std::string(rdf_uri) + "\"";
  text += ">";
  for (const std::string& value : values)
    text += "\n     <rdf:li>" + escaped(value) + "</rdf:li>";
  text += "\n    </rdf:Bag>\n   </" + qualified + ">";
}

void packet_editor::place_additions() {
  if (packet_.descriptions.empty()) return place_new_description();
  for (std::size_t i = 0; i < hosts_.size(); ++i) {
    const xmp_host_element& host = hosts_[i];
    const additions& added = additions_[i];
    const std::size_t tag_close = host.attributes_end;
    if (!added.attributes.empty()) replace({tag_close, tag_close}, added.attributes);
    if (added.children.empty()) continue;
    if (host.closes_itself) {
      replace({tag_close, host.start_tag.end}, ">" + added.children + "\n  </" + host.name + ">");
    } else {
      const std::size_t last = packet_.text.find_last_not_of(white_space, host.end_tag - 1) + 1;
      replace({last, last}, added.children);
    }
  }
}

void packet_editor::place_new_description() {
  const additions& added = additions_.front();
  if (added.attributes.empty()) return;  // every addition declares its prefix
  const xmp_host_element& rdf = packet_.rdf;
  std::string text = "\n  <rdf:Description rdf:about=\"\"";
  if (rdf.name != "rdf:RDF") text += " xmlns:rdf=\"" + std::string(rdf_uri) + "\"";
  text += added.attributes;
  text += added.children.empty() ? "/>" : ">" + added.children + "\n  </rdf:Description>";
  if (rdf.closes_itself) {
    replace({rdf.attributes_end, rdf.start_tag.end}, ">" + text + "\n </" + rdf.name + ">");
  } else {
    const std::size_t last = packet_.text.find_last_not_of(white_space, rdf.end_tag - 1) + 1;
    replace({last, last}, text);
  }
}

std::optional<std::string> packet_editor::apply(std::size_t size_limit) {
  place_additions();
  if (edits_.empty()) return packet_.text;
  std::stable_sort(edits_.begin(), edits_.end(),
                   [](const text_edit& a, const text_edit& b) { return a.range.begin < b.range.begin; });
  std::size_t erased = 0;
  std::size_t inserted = 0;
  for (const text_edit& edit : edits_) {
    erased += edit.range.size();
    inserted += edit.text.size();
  }
  const text_range& room = packet_.padding;
  const std::size_t bare = packet_.text.size() - room.size() - erased + inserted;
  if (bare > size_limit) return std::nullopt;
  std::string padding;
  if (bare > packet_.text.size()) {
    padding = padding_of(std::min(new_padding_size, size_limit - bare));
  } else {
    padding = at(room);
    padding.resize(packet_.text.size() - bare, ' ');
  }

  std::string text;
  text.reserve(bare + padding.size());
  edits_.push_back({room, std::move(padding)});  // behind the root element, so behind all others
  std::size_t done = 0;
  for (const text_edit& edit : edits_) {
    if (edit.range.begin < done) return std::nullopt;
    text += at({done, edit.range.begin});
    text += edit.text;
    done = edit.range.end;
  }
  text += at({done, packet_.text.size()});
  return text;
}

// Not trusting the edit: what it gives must say what was asked for.
bool says(const std::string& text, std::span<const xmp_change> changes) {
  const std::optional<xmp_packet> packet = parse_xmp_packet(text);
  if (!packet) return false;
  return std::all_of(changes.begin(), changes.end(), [&packet](const xmp_change& change) {
    std::size_t found = 0;
    for (const xmp_occurrence& occurrence : packet->occurrences) {
      if (occurrence.field != change.field) continue;
      ++found;
      if (!same_values(occurrence, change.values)) return false;
    }
    return found > 0 || change.values.empty();
  });
}

}  // namespace

std::optional<std::string> edit_xmp_packet(const xmp_packet& packet, std::span<const xmp_change> changes,
                                           std::size_t size_limit) {
  std::vector<xmp_change> sayable(changes.begin(), changes.end());
  packet_editor editor(packet);
  for (xmp_change& change : sayable) {
    for (std::string& value : change.values)
      value = xml_sayable(value);
    editor.change(change);
  }
  std::optional<std::string> text = editor.apply(size_limit);
  if (text && *text != packet.text && !says(*text, sayable)) return std::nullopt;
  return text;
}

std::optional<std::string> new_xmp_packet(std::span<const xmp_change> changes, std::size_t size_limit) {
  constexpr std::string_view skeleton =
      "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
      " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
      "  <rdf:Description rdf:about=\"\"/>\n"
      " </rdf:RDF>\n"
      "</x:xmpmeta>"
      "<?xpacket end=\"w\"?>";
  const std::optional<xmp_packet> packet = parse_xmp_packet(std::string(skeleton));
  if (!packet) return std::nullopt;
  return edit_xmp_packet(*packet, changes, size_limit);
}

}  // namespace platform::host::image
