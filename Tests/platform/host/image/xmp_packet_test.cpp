#include "platform/host/image/xmp_packet.h"

#include <gtest/gtest.h>

#include <regex>

#include "platform/host/image/image_bytes.h"

namespace {

using namespace platform::host::image;
using namespace image_bytes;
using strings = std::vector<std::string>;

constexpr std::size_t no_limit = 1 << 20;

std::optional<strings> values(const std::string& text, xmp_field field) {
  const std::optional<xmp_packet> parsed = parse_xmp_packet(text);
  EXPECT_TRUE(parsed) << text;
  return parsed ? xmp_values(*parsed, field) : std::nullopt;
}

std::string edited(const std::string& text, const std::vector<xmp_change>& changes, std::size_t limit = no_limit) {
  const std::optional<xmp_packet> parsed = parse_xmp_packet(text);
  if (!parsed) return "not parsed";
  const std::optional<packet_change> change = edit_xmp_packet(*parsed, changes, limit);
  return change ? change->text : "refused";
}

// Without the white space that means nothing.
std::string squeezed(const std::string& text) {
  return std::regex_replace(std::regex_replace(text, std::regex("\\s+"), " "), std::regex(" ?(/?>|<) ?"), "$1");
}

xmp_change rating(const std::string& stars) { return {xmp_field::rating, {stars}}; }

std::string without(std::string text, std::string_view part) {
  const std::size_t at = text.find(part);
  EXPECT_NE(at, std::string::npos) << part;
  return at == std::string::npos ? text : text.erase(at, part.size());
}

TEST(xmp_packet, reads_a_rating_as_attribute_and_as_element) {
  EXPECT_EQ(values(packet(description(" xmp:Rating=\"4\"")), xmp_field::rating), strings{"4"});
  EXPECT_EQ(values(packet(description("", "<xmp:Rating>3</xmp:Rating>")), xmp_field::rating), strings{"3"});
  EXPECT_EQ(values(packet(description(" MicrosoftPhoto:Rating='75'")), xmp_field::percent), strings{"75"});
  EXPECT_EQ(values(packet(description("")), xmp_field::rating), std::nullopt);
}

TEST(xmp_packet, tells_properties_by_namespace_and_not_by_prefix) {
  const std::string other_prefix =
      R"(<rdf:Description rdf:about="" xmlns:a="http://ns.adobe.com/xap/1.0/" xmlns:xmp="http://example.com/" )"
      R"(xmp:Rating="1" a:Rating="2"/>)";
  EXPECT_EQ(values(packet(other_prefix), xmp_field::rating), strings{"2"});
  EXPECT_EQ(edited(packet(other_prefix), {rating("5")}),
            packet(R"(<rdf:Description rdf:about="" xmlns:a="http://ns.adobe.com/xap/1.0/" )"
                   R"(xmlns:xmp="http://example.com/" xmp:Rating="1" a:Rating="5"/>)"));
}

TEST(xmp_packet, the_percent_rating_is_known_with_and_without_the_last_slash_of_its_namespace) {
  const std::string other =
      R"(<rdf:Description rdf:about="" xmlns:M="http://ns.microsoft.com/photo/1.0" M:Rating="75"/>)";
  EXPECT_EQ(values(packet(other), xmp_field::percent), strings{"75"});
  EXPECT_EQ(edited(packet(other), {{xmp_field::percent, {"25"}}}),
            packet(R"(<rdf:Description rdf:about="" xmlns:M="http://ns.microsoft.com/photo/1.0" M:Rating="25"/>)"));
}

TEST(xmp_packet, reads_lists_of_every_kind_and_a_single_value) {
  const strings expected{"one", "two & more"};
  for (const std::string& kind : strings{"Bag", "Seq", "Alt"}) {
    const std::string list = "<dc:subject><rdf:" + kind +
                             "><rdf:li>one</rdf:li><rdf:li>two &amp; more</rdf:li></rdf:" + kind + "></dc:subject>";
    EXPECT_EQ(values(packet(description("", list)), xmp_field::keywords), expected) << kind;
  }
  EXPECT_EQ(values(packet(description("", "<dc:subject>one</dc:subject>")), xmp_field::keywords), strings{"one"});
  EXPECT_EQ(values(packet(description(" dc:subject=\"one\"")), xmp_field::keywords), strings{"one"});
  EXPECT_EQ(values(packet(description("", "<dc:subject><rdf:Bag/></dc:subject>")), xmp_field::keywords), strings{});
}

TEST(xmp_packet, reads_character_data_sections_and_values_with_qualifiers) {
  const std::string list =
      "<dc:subject><rdf:Bag><rdf:li><![CDATA[<b>]]></rdf:li>"
      "<rdf:li rdf:parseType=\"Resource\"><rdf:value>deep</rdf:value><xmp:Note>x</xmp:Note></rdf:li>"
      "</rdf:Bag></dc:subject>";
  EXPECT_EQ(values(packet(description("", list)), xmp_field::keywords), (strings{"<b>", "deep"}));
}

TEST(xmp_packet, ignores_fields_inside_of_other_structures) {
  const std::string history =
      "<xmp:History><rdf:Description xmp:Rating=\"1\"><xmp:Rating>2</xmp:Rating>"
      "</rdf:Description></xmp:History>";
  EXPECT_EQ(values(packet(description("", history)), xmp_field::rating), std::nullopt);
}

TEST(xmp_packet, changing_an_attribute_changes_nothing_else) {
  EXPECT_EQ(edited(packet(description(" xmp:Rating=\"4\" xmp:Other='x'")), {rating("2")}),
            packet(description(" xmp:Rating=\"2\" xmp:Other='x'")));
}

TEST(xmp_packet, a_longer_value_takes_from_the_padding_and_a_shorter_one_leaves_white_space_beside_it) {
  const std::string text = packet(description(" xmp:Rating=\"4\""), 100);
  const std::string longer = edited(text, {rating("500")});
  EXPECT_EQ(longer, packet(description(" xmp:Rating=\"500\""), 98));
  EXPECT_EQ(edited(longer, {rating("4")}), packet(description(" xmp:Rating=\"4\"  "), 98));
}

TEST(xmp_packet, a_full_packet_grows_by_new_padding) {
  const std::string text = packet(description(" xmp:Rating=\"4\""), 1);
  const std::string grown = edited(text, {rating("500")});
  EXPECT_EQ(grown.size(), text.size() - 1 + 2 + 2048);
  EXPECT_EQ(values(grown, xmp_field::rating), strings{"500"});
  // The next change has room.
  EXPECT_EQ(edited(grown, {{xmp_field::keywords, {"a", "b"}}}).size(), grown.size());
}

TEST(xmp_packet, new_padding_shrinks_to_the_limit_and_beyond_it_nothing_comes) {
  const std::string text = packet(description(" xmp:Rating=\"4\""), 0);
  EXPECT_EQ(edited(text, {rating("500")}, text.size() + 10).size(), text.size() + 10);
  EXPECT_EQ(edited(text, {rating("500")}, text.size() + 2).size(), text.size() + 2);
  EXPECT_EQ(edited(text, {rating("500")}, text.size() + 1), "refused");
}

TEST(xmp_packet, a_packet_without_wrapper_uses_white_space_at_its_end) {
  const std::string bare = "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">" +
                           description(" xmp:Rating=\"4\"") + "</rdf:RDF>";
  const std::string grown = edited(bare, {rating("25")});
  EXPECT_EQ(grown.size(), bare.size() + 1 + 2048);
  EXPECT_EQ(edited(grown, {rating("500")}).size(), grown.size());
}

TEST(xmp_packet, a_missing_rating_becomes_an_attribute_of_the_description_that_knows_the_prefix) {
  const std::string first = "  <rdf:Description rdf:about=\"\" xmlns:e=\"http://example.com/\" e:x=\"y\"/>";
  EXPECT_EQ(edited(packet(first + description(" xmp:Label=\"red\""), 100), {rating("3")}),
            packet(first + description(" xmp:Label=\"red\" xmp:Rating=\"3\""), 100 - 15));
}

TEST(xmp_packet, a_missing_prefix_is_declared_and_a_taken_one_avoided) {
  const std::string plain = "<rdf:Description rdf:about=\"\"/>";
  const std::string text = edited(packet(plain, 500), {rating("3"), {xmp_field::keywords, {"a"}}});
  EXPECT_EQ(text.size(), packet(plain, 500).size());
  EXPECT_EQ(values(text, xmp_field::rating), strings{"3"});
  EXPECT_EQ(values(text, xmp_field::keywords), strings{"a"});
  EXPECT_NE(text.find("xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\"3\""), std::string::npos) << text;

  const std::string taken = R"(<rdf:Description rdf:about="" xmlns:xmp="http://example.com/" xmp:Rating="1"/>)";
  const std::string avoided = edited(packet(taken, 500), {rating("3")});
  EXPECT_EQ(values(avoided, xmp_field::rating), strings{"3"});
  EXPECT_NE(avoided.find("xmp:Rating=\"1\""), std::string::npos);
}

TEST(xmp_packet, a_description_is_made_where_there_is_none) {
  for (const std::string& rdf : strings{"<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"/>",
                                        "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"></rdf:RDF>",
                                        "<RDF xmlns=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"> </RDF>"}) {
    const std::string text = edited(rdf, {rating("3"), {xmp_field::keywords, {"a", "b"}}});
    EXPECT_EQ(values(text, xmp_field::rating), strings{"3"}) << text;
    EXPECT_EQ(values(text, xmp_field::keywords), (strings{"a", "b"})) << text;
  }
}

TEST(xmp_packet, every_occurrence_is_changed) {
  const std::string text = packet(description(" xmp:Rating=\"1\"") + description("", "<xmp:Rating>2</xmp:Rating>"));
  EXPECT_EQ(edited(text, {rating("5")}),
            packet(description(" xmp:Rating=\"5\"") + description("", "<xmp:Rating>5</xmp:Rating>")));
}

TEST(xmp_packet, a_bag_keeps_its_spacing_and_the_items_that_stay) {
  const std::string old = bag("dc:subject", {"b", "a"});
  const std::string with_language = "<rdf:li xml:lang=\"en\">kept</rdf:li>";
  std::string before = description("", bag("dc:subject", {"gone"}));
  before.replace(before.find("<rdf:li>gone</rdf:li>"), 21, "<rdf:li>gone</rdf:li>\n     " + with_language);
  const std::string after = edited(packet(before, 300), {{xmp_field::keywords, {"a", "kept"}}});
  EXPECT_NE(after.find("\n     <rdf:li>a</rdf:li>\n     " + with_language), std::string::npos) << after;
  EXPECT_NE(after.find("\n    </rdf:Bag>"), std::string::npos) << after;
  EXPECT_EQ(after.find("gone"), std::string::npos);
}

TEST(xmp_packet, comments_and_instructions_between_items_stay_with_the_item_behind_them) {
  const auto with = [](std::string_view items) {
    return packet(description("", "<dc:subject><rdf:Bag>" + std::string(items) + "</rdf:Bag></dc:subject>"), 300);
  };
  const std::string text =
      with("\n<!-- 0 --><rdf:li>b</rdf:li>\n<!-- 1 --><rdf:li>gone</rdf:li><?pi x?>\n<rdf:li>a</rdf:li><!-- 2 -->\n");
  const std::string after = edited(text, {{xmp_field::keywords, {"a", "b", "c"}}});
  EXPECT_EQ(
      squeezed(after),
      squeezed(with(
          "\n<!-- 1 --><?pi x?>\n<rdf:li>a</rdf:li>\n<!-- 0 --><rdf:li>b</rdf:li>\n<rdf:li>c</rdf:li><!-- 2 -->\n")))
      << after;
  const std::string shorter = edited(text, {{xmp_field::keywords, {"b"}}});
  EXPECT_EQ(squeezed(shorter), squeezed(with("\n<!-- 0 --><rdf:li>b</rdf:li>\n<!-- 1 --><?pi x?>\n<!-- 2 -->\n")))
      << shorter;
}

TEST(xmp_packet, of_equal_items_each_keeps_what_it_carries) {
  const std::string items =
      "<rdf:li xml:lang=\"de\">b</rdf:li> <rdf:li xml:lang=\"en\">b</rdf:li> <rdf:li xml:lang=\"fr\">b</rdf:li>";
  const std::string text = packet(description("", "<dc:subject><rdf:Bag>" + items + "</rdf:Bag></dc:subject>"), 300);
  const std::string grown = edited(text, {{xmp_field::keywords, {"b", "b", "b", "c"}}});
  EXPECT_NE(grown.find(items + "<rdf:li>c</rdf:li></rdf:Bag>"), std::string::npos) << grown;
  const std::string shrunk = edited(text, {{xmp_field::keywords, {"b", "b"}}});
  EXPECT_NE(shrunk.find(items.substr(0, items.rfind(" <rdf:li")) + std::string(33, ' ') + "</rdf:Bag>"),
            std::string::npos)
      << shrunk;
}

TEST(xmp_packet, other_forms_of_a_list_become_a_bag_when_written) {
  const strings tags{"x", "y"};
  for (const std::string& old :
       {description("", "<dc:subject><rdf:Seq><rdf:li>a</rdf:li></rdf:Seq></dc:subject>"),
        description("", "<dc:subject>a</dc:subject>"), description(" dc:subject=\"a\""),
        description("", "<dc:subject><rdf:Bag/></dc:subject>"), description("", "<dc:subject/>")}) {
    const std::string text = edited(packet(old, 600), {{xmp_field::keywords, tags}});
    EXPECT_EQ(values(text, xmp_field::keywords), tags) << text;
    EXPECT_NE(text.find("<rdf:Bag"), std::string::npos);
    EXPECT_EQ(text.size(), packet(old, 600).size());
  }
}

TEST(xmp_packet, no_values_remove_the_property_and_nothing_else) {
  const std::string text =
      packet(description(" xmp:Rating=\"4\" xmp:Label=\"red\"", bag("dc:subject", {"a"}) + "\n<xmp:x>1</xmp:x>"), 0);
  const std::string removed = edited(text, {{xmp_field::rating, {}}, {xmp_field::keywords, {}}});
  const std::string expected = packet(description(" xmp:Label=\"red\"", "\n<xmp:x>1</xmp:x>"), 0);
  EXPECT_EQ(removed.size(), text.size());
  EXPECT_EQ(squeezed(removed), squeezed(expected));
}

TEST(xmp_packet, new_properties_stay_out_of_the_description_that_goes_with_the_people_regions) {
  const std::string managed =
      "<rdf:Description rdf:about=\"\" xmlns:qzxx=\"http://example.com/\" qzxx:managed=\"true\" "
      "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"><qzxx:regions>x</qzxx:regions></rdf:Description>";
  const std::string text = edited(packet(managed, 700), {rating("3"), {xmp_field::keywords, {"a"}}});
  EXPECT_NE(text.find(managed), std::string::npos) << text;
  EXPECT_EQ(values(text, xmp_field::rating), strings{"3"});
  EXPECT_EQ(values(text, xmp_field::keywords), strings{"a"});
}

TEST(xmp_packet, equal_values_change_nothing) {
  const std::string text = packet(description(" xmp:Rating=\" 4 \"", bag("dc:subject", {"a &amp; b"})));
  EXPECT_EQ(edited(text, {rating("4"), {xmp_field::keywords, {"a & b"}}, {xmp_field::percent, {}}}), text);
}

TEST(xmp_packet, text_is_escaped_and_what_xml_cannot_say_replaced) {
  const std::string tag = "a<b>&\"c\"\r\n\ttail";
  const std::string text = edited(packet(description("")), {{xmp_field::keywords, {tag, "bell\a"}}});
  EXPECT_EQ(values(text, xmp_field::keywords), (strings{tag, "bell\xef\xbf\xbd"}));
}

TEST(xmp_packet, a_read_only_packet_is_edited_and_its_mark_stays) {
  std::string text = packet(description(" xmp:Rating=\"4\""));
  text.replace(text.find("end=\"w\""), 7, "end=\"r\"");
  EXPECT_EQ(values(edited(text, {rating("1")}), xmp_field::rating), strings{"1"});
  EXPECT_NE(edited(text, {rating("1")}).find("end=\"r\""), std::string::npos);
}

TEST(xmp_packet, bytes_of_other_properties_stay_to_the_last) {
  const std::string odd = "\n<!-- a comment --><xmp:Odd   a = 'b'\n>&#x41;<![CDATA[x]]></xmp:Odd >\r\n";
  const std::string text = packet(description(" xmp:Rating = '4'", odd));
  const std::string after = edited(text, {rating("5"), {xmp_field::keywords, {"t"}}});
  EXPECT_NE(after.find(odd.substr(0, odd.size() - 2)), std::string::npos);
  EXPECT_NE(after.find("xmp:Rating = '5'"), std::string::npos);
}

TEST(xmp_packet, refuses_what_it_cannot_read) {
  const std::string good = packet(description(" xmp:Rating=\"4\""));
  ASSERT_TRUE(parse_xmp_packet(good));
  EXPECT_TRUE(parse_xmp_packet(good + std::string(20, '\0')));
  EXPECT_FALSE(parse_xmp_packet(""));
  EXPECT_FALSE(parse_xmp_packet(std::string(100, '\0')));
  EXPECT_FALSE(parse_xmp_packet("no markup"));
  EXPECT_FALSE(parse_xmp_packet("<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>")) << "no rdf:RDF";
  EXPECT_FALSE(parse_xmp_packet(without(good, "</x:xmpmeta>")));
  EXPECT_FALSE(parse_xmp_packet(without(good, xmp_namespaces))) << "a prefix that nothing declares";
  EXPECT_FALSE(parse_xmp_packet("<!DOCTYPE x [<!ENTITY a \"b\">]>" + good.substr(good.find("<x:"))))
      << "a document type";
  EXPECT_FALSE(parse_xmp_packet("\xff\xfe<\0x\0"s)) << "UTF-16";
  EXPECT_FALSE(parse_xmp_packet("\0<\0?"s)) << "UTF-16 without a mark";
  EXPECT_FALSE(parse_xmp_packet("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + good.substr(good.find("<x:"))));
  EXPECT_FALSE(parse_xmp_packet(packet(description(" xmp:Label=\"\xe9t\xe9\"")))) << "Latin-1";
}

TEST(xmp_packet, refuses_nesting_without_bound) {
  std::string deep;
  for (int i = 0; i < 100000; ++i)
    deep += "<xmp:a>";
  EXPECT_FALSE(parse_xmp_packet(packet(description("", deep))));
}

TEST(xmp_packet, cut_at_every_byte_it_is_refused_or_read_whole) {
  const std::string text = packet(description(" xmp:Rating=\"4\"", bag("dc:subject", {"a"})), 3);
  const std::size_t root_end = text.find("</x:xmpmeta>") + 12;
  for (std::size_t size = 0; size < text.size(); ++size) {
    const std::optional<xmp_packet> cut = parse_xmp_packet(text.substr(0, size));
    if (!cut) continue;
    EXPECT_GE(size, root_end);
    EXPECT_EQ(xmp_values(*cut, xmp_field::rating), strings{"4"});
  }
}

TEST(xmp_packet, a_new_packet_has_the_wrapper_the_fields_and_padding) {
  const std::vector<xmp_change> changes{rating("4"), {xmp_field::percent, {"75"}}, {xmp_field::keywords, {"a"}}};
  const std::string text = new_xmp_packet(changes, no_limit).value_or("");
  EXPECT_TRUE(text.starts_with("<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"));
  EXPECT_TRUE(text.ends_with("<?xpacket end=\"w\"?>"));
  EXPECT_GT(text.size(), 2048U);
  EXPECT_EQ(values(text, xmp_field::percent), strings{"75"});
  EXPECT_EQ(new_xmp_packet(changes, 100), std::nullopt);
}

}  // namespace
