#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/host/image/xmp_packet.h"
#include "platform/host/image/xmp_spacing.h"

namespace platform::host::image {

namespace {

constexpr std::size_t new_padding_size = 2048;
constexpr std::string_view white_space = " \t\r\n";
constexpr std::string_view replacement_character = "\xef\xbf\xbd";

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
  explicit packet_editor(const xmp_packet& packet) : packet_(packet), hosts_(packet.descriptions) {
    hosts_.emplace_back();  // a new one
    additions_.resize(hosts_.size());
  }

  void change(const xmp_change& change);
  [[nodiscard]] std::optional<packet_change> apply(std::size_t size_limit);

 private:
  [[nodiscard]] std::string_view at(const text_range& range) const {
    return std::string_view(packet_.text).substr(range.begin, range.size());
  }
  // White space may be taken from where the edit ends, or from a later place.
  void replace(const text_range& range, std::string text) { replace(range, std::move(text), range.end); }
  void replace(const text_range& range, std::string text, std::size_t spacing, bool in_tag = false) {
    edits_.push_back({range, std::move(text), spacing, in_tag});
  }
  void set(const xmp_occurrence& occurrence, const std::vector<std::string>& values);
  void add(xmp_field field, const std::vector<std::string>& values);
  [[nodiscard]] std::string bag_content(const xmp_occurrence& occurrence, const std::vector<std::string>& values) const;
  [[nodiscard]] std::string self_contained(const xmp_occurrence& occurrence,
                                           const std::vector<std::string>& values) const;
  [[nodiscard]] std::string prefix_for(xmp_field field, std::size_t host);
  [[nodiscard]] bool can_host(const xmp_host_element& description) const;
  [[nodiscard]] std::size_t host_for(xmp_field field) const;
  void place_additions();
  void place_new_description();
  [[nodiscard]] packet_change applied(const std::vector<text_edit>& edits) const;
  [[nodiscard]] std::optional<packet_change> grown(std::size_t size_limit) const;

  const xmp_packet& packet_;
  std::vector<xmp_host_element> hosts_;  // the packet's descriptions, and a new one at the end
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
      // A list can't be an attribute: it is added as an element.
      replace(occurrence.whole, "", occurrence.whole.end, occurrence.form == xmp_form::attribute);
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
    std::string content = bag_content(occurrence, values);
    content.resize(content.find_last_not_of(white_space) + 1);
    const std::string_view old = at(occurrence.content);
    const std::size_t old_size = old.find_last_not_of(white_space) + 1;
    replace({occurrence.content.begin, occurrence.content.begin + old_size}, std::move(content));
  } else if (!is_bag && occurrence.form == xmp_form::text) {
    replace(occurrence.content, escaped(values.front()), packet_.text.find('>', occurrence.content.end) + 1);
  } else if (!is_bag && occurrence.form == xmp_form::attribute) {
    replace(occurrence.content, escaped(values.front()), occurrence.content.end + 1, true);
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

// Not the description that goes with the people regions, nor a long one, whose changes would reach over several pages.
bool packet_editor::can_host(const xmp_host_element& description) const {
  constexpr std::string_view regions_mark = "qzxx:managed";
  constexpr std::size_t longest = 2048;
  const std::size_t end = std::max(description.start_tag.end, description.end_tag);
  const std::string_view text = at({description.start_tag.begin, end});
  return text.size() <= longest && text.find(regions_mark) == std::string_view::npos;
}

// The first that knows the prefix, else the first at all, else a new one.
std::size_t packet_editor::host_for(xmp_field field) const {
  const auto index = static_cast<std::size_t>(field);
  const std::size_t new_host = hosts_.size() - 1;
  std::size_t host = new_host;
  for (std::size_t i = new_host; i-- > 0;) {
    if (!can_host(hosts_[i])) continue;
    const bool knows_prefix = !hosts_[i].prefixes[index].empty();
    if (knows_prefix || host == new_host || hosts_[host].prefixes[index].empty()) host = i;
  }
  // Fields that were given to the new one stay together.
  return additions_[new_host].attributes.empty() ? host : new_host;
}

void packet_editor::add(xmp_field field, const std::vector<std::string>& values) {
  const std::size_t host = host_for(field);
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
  place_new_description();
  for (std::size_t i = 0; i + 1 < hosts_.size(); ++i) {
    const xmp_host_element& host = hosts_[i];
    const additions& added = additions_[i];
    const std::size_t tag_close = host.attributes_end;
    if (!added.attributes.empty()) replace({tag_close, tag_close}, added.attributes, tag_close, true);
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
  const additions& added = additions_.back();
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

packet_change packet_editor::applied(const std::vector<text_edit>& edits) const {
  packet_change change;
  std::size_t done = 0;
  for (const text_edit& edit : edits) {
    change.text += at({done, edit.range.begin});
    change.pieces.push_back({change.text.size(), change.text.size() + edit.text.size()});
    change.text += edit.text;
    done = edit.range.end;
  }
  change.text += at({done, packet_.text.size()});
  return change;
}

// With new padding.
std::optional<packet_change> packet_editor::grown(std::size_t size_limit) const {
  std::size_t bare = packet_.text.size() - packet_.padding.size();
  for (const text_edit& edit : edits_)
    bare += edit.text.size() - edit.range.size();
  if (bare > size_limit) return std::nullopt;
  std::vector<text_edit> edits = edits_;
  // After the root element, so after all others.
  edits.push_back({packet_.padding, padding_of(std::min(new_padding_size, size_limit - bare)), 0, false});
  packet_change change = applied(edits);
  change.pieces.clear();
  return change;
}

std::optional<packet_change> packet_editor::apply(std::size_t size_limit) {
  const bool adds = std::ranges::any_of(additions_, [](const additions& added) { return !added.attributes.empty(); });
  place_additions();
  std::stable_sort(edits_.begin(), edits_.end(),
                   [](const text_edit& a, const text_edit& b) { return a.range.begin < b.range.begin; });
  for (std::size_t i = 1; i < edits_.size(); ++i) {
    if (edits_[i].range.begin < edits_[i - 1].range.end) return std::nullopt;
  }
  const auto spaced = spaced_out(packet_, edits_);
  if (!spaced) return grown(size_limit);
  packet_change change = applied(*spaced);
  // What is added may use a prefix that another piece declares.
  change.pieces_stand_alone = !adds;
  return change;
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

std::optional<packet_change> edit_xmp_packet(const xmp_packet& packet, std::span<const xmp_change> changes,
                                             std::size_t size_limit) {
  std::vector<xmp_change> sayable(changes.begin(), changes.end());
  packet_editor editor(packet);
  for (xmp_change& change : sayable) {
    for (std::string& value : change.values)
      value = xml_sayable(value);
    editor.change(change);
  }
  std::optional<packet_change> edited = editor.apply(size_limit);
  if (edited && edited->text != packet.text && !says(edited->text, sayable)) return std::nullopt;
  return edited;
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
  std::optional<packet_change> edited = edit_xmp_packet(*packet, changes, size_limit);
  if (!edited) return std::nullopt;
  return std::move(edited->text);
}

}  // namespace platform::host::image
