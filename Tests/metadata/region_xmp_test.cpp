#include "metadata/region_xmp.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <random>

#include "metadata/xmp_text.h"
#include "support/plain_region_strip.h"

namespace quill_box::metadata {

namespace {

using region_list = std::vector<people_region>;

const people_region anna = {L"Anna", 0.1, 0.2, 0.3, 0.4};
const people_region bob = {L"A & B", 0.9, 0.5, 0.4, 0.25};
constexpr platform::image_size photo_size = {4000, 3000};

const std::string block_of_two =
    R"(  <rdf:Description rdf:about=""
    xmlns:qzxx="http://ns.quillbox.example/qzx/regions/1.0/" qzxx:managed="true"
    xmlns:MP="http://ns.microsoft.com/photo/1.2/"
    xmlns:MPRI="http://ns.microsoft.com/photo/1.2/t/RegionInfo#"
    xmlns:MPReg="http://ns.microsoft.com/photo/1.2/t/Region#"
    xmlns:mwg-rs="http://www.metadataworkinggroup.com/schemas/regions/"
    xmlns:stArea="http://ns.adobe.com/xmp/sType/Area#"
    xmlns:stDim="http://ns.adobe.com/xap/1.0/sType/Dimensions#">
   <MP:RegionInfo rdf:parseType="Resource">
    <MPRI:Regions>
     <rdf:Bag>
      <rdf:li rdf:parseType="Resource">
       <MPReg:Rectangle>0.100000, 0.200000, 0.300000, 0.400000</MPReg:Rectangle>
       <MPReg:PersonDisplayName>Anna</MPReg:PersonDisplayName>
      </rdf:li>
      <rdf:li rdf:parseType="Resource">
       <MPReg:Rectangle>0.900000, 0.500000, 0.400000, 0.250000</MPReg:Rectangle>
       <MPReg:PersonDisplayName>A &amp; B</MPReg:PersonDisplayName>
      </rdf:li>
     </rdf:Bag>
    </MPRI:Regions>
   </MP:RegionInfo>
   <mwg-rs:Regions rdf:parseType="Resource">
    <mwg-rs:AppliedToDimensions stDim:w="4000" stDim:h="3000" stDim:unit="pixel"/>
    <mwg-rs:RegionList>
     <rdf:Bag>
      <rdf:li rdf:parseType="Resource">
       <mwg-rs:Name>Anna</mwg-rs:Name>
       <mwg-rs:Type>Face</mwg-rs:Type>
       <mwg-rs:Area stArea:x="0.250000" stArea:y="0.400000" stArea:w="0.300000" stArea:h="0.400000" stArea:unit="normalized"/>
      </rdf:li>
      <rdf:li rdf:parseType="Resource">
       <mwg-rs:Name>A &amp; B</mwg-rs:Name>
       <mwg-rs:Type>Face</mwg-rs:Type>
       <mwg-rs:Area stArea:x="1.000000" stArea:y="0.625000" stArea:w="0.400000" stArea:h="0.250000" stArea:unit="normalized"/>
      </rdf:li>
     </rdf:Bag>
    </mwg-rs:RegionList>
   </mwg-rs:Regions>
  </rdf:Description>
)";

const std::string packet_head =
    "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\" x:xmptk=\"LKF QZX\">\n"
    " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n";
const std::string packet_tail = " </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>";

std::string packet_around(const std::string& inside) { return packet_head + inside + packet_tail; }

region_list parsed(std::string_view text) {
  region_list regions;
  const bool has_any = parse_region_info(text, regions);
  EXPECT_EQ(has_any, !regions.empty());
  return regions;
}

std::string info(const std::string& items) { return "<MP:RegionInfo>" + items + "</MP:RegionInfo>"; }
std::string rectangle_item(const std::string& rectangle) {
  return "<rdf:li><MPReg:Rectangle>" + rectangle + "</MPReg:Rectangle></rdf:li>";
}
std::array<double, 4> rectangle_in(const std::string& text) {
  const region_list regions = parsed(info(rectangle_item(text)));
  if (regions.size() != 1) return {-1, -1, -1, -1};
  return {regions[0].x, regions[0].y, regions[0].w, regions[0].h};
}
using sides = std::array<double, 4>;

std::string value_in(std::string_view text, std::string_view property) {
  std::string value = "left as it was";
  const std::string before = value;
  if (read_xmp_value(text, property, value)) return value;
  EXPECT_EQ(value, before);
  return "(none)";
}

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

std::string repeated(std::string_view part, std::size_t times) {
  std::string text;
  text.reserve(part.size() * times);
  for (std::size_t i = 0; i < times; ++i)
    text += part;
  return text;
}

TEST(region_block, has_both_schemas_to_the_byte) {
  EXPECT_EQ(build_region_block(region_list{anna, bob}, photo_size), block_of_two);
}

TEST(region_block, of_an_empty_list_has_two_empty_bags_and_the_marker) {
  const std::string block = build_region_block({}, photo_size);
  EXPECT_TRUE(contains(block, "qzxx:managed=\"true\""));
  EXPECT_TRUE(contains(block, "    <MPRI:Regions>\n     <rdf:Bag>\n     </rdf:Bag>\n    </MPRI:Regions>\n"));
  EXPECT_TRUE(contains(block, "    <mwg-rs:RegionList>\n     <rdf:Bag>\n     </rdf:Bag>\n    </mwg-rs:RegionList>\n"));
}

TEST(region_block, a_region_with_an_empty_name_is_dropped_from_both_schemas) {
  EXPECT_EQ(build_region_block(region_list{{L"", 0.5, 0.5, 0.1, 0.1}, anna, {}, bob}, photo_size), block_of_two);
}

TEST(region_block, without_known_dimensions_it_has_no_applied_to_dimensions_line) {
  const std::string line = "    <mwg-rs:AppliedToDimensions stDim:w=\"4000\" stDim:h=\"3000\" stDim:unit=\"pixel\"/>\n";
  std::string expected = block_of_two;
  expected.erase(expected.find(line), line.size());
  for (const platform::image_size unknown : {platform::image_size{}, {4000, 0}, {0, 3000}})
    EXPECT_EQ(build_region_block(region_list{anna, bob}, unknown), expected);
}

TEST(region_block, the_centre_is_clamped_after_the_addition_and_the_rectangle_is_kept) {
  const std::string block = build_region_block(region_list{{L"n", 0.9, 0, 0.4, 1}}, {});
  EXPECT_TRUE(contains(block, "<MPReg:Rectangle>0.900000, 0.000000, 0.400000, 1.000000</MPReg:Rectangle>"));
  EXPECT_TRUE(
      contains(block, "stArea:x=\"1.000000\" stArea:y=\"0.500000\" stArea:w=\"0.400000\" stArea:h=\"1.000000\""));
}

TEST(region_block, the_centre_is_that_of_the_rectangle_before_its_sides_are_clamped) {
  const std::string block = build_region_block(region_list{{L"n", -0.5, 0.25, 1.5, 0.5}}, {});
  EXPECT_TRUE(contains(block, "<MPReg:Rectangle>0.000000, 0.250000, 1.000000, 0.500000</MPReg:Rectangle>"));
  EXPECT_TRUE(contains(block, "stArea:x=\"0.250000\" stArea:y=\"0.500000\""));
}

TEST(region_block, names_with_markup_are_escaped_and_others_are_utf8) {
  const std::string block = build_region_block(region_list{{L"<b>\"O'Neil\" &amp; \u00c4\U0001f600</b>"}}, {});
  const std::string name = "&lt;b&gt;&quot;O&apos;Neil&quot; &amp;amp; \xc3\x84\xf0\x9f\x98\x80&lt;/b&gt;";
  EXPECT_TRUE(contains(block, "<MPReg:PersonDisplayName>" + name + "</MPReg:PersonDisplayName>"));
  EXPECT_TRUE(contains(block, "<mwg-rs:Name>" + name + "</mwg-rs:Name>"));
}

TEST(region_packet, is_the_block_in_a_packet_without_a_line_end_at_the_end) {
  EXPECT_EQ(build_region_packet(region_list{anna, bob}, photo_size), packet_around(block_of_two));
}

TEST(fraction_text, has_six_decimals_and_is_clamped) {
  EXPECT_EQ(fraction_text(0), "0.000000");
  EXPECT_EQ(fraction_text(-0.0), "0.000000");
  EXPECT_EQ(fraction_text(1), "1.000000");
  EXPECT_EQ(fraction_text(0.1234567), "0.123457");
  EXPECT_EQ(fraction_text(0.9999999), "1.000000");
  EXPECT_EQ(fraction_text(1e-7), "0.000000");
  EXPECT_EQ(fraction_text(-3), "0.000000");
  EXPECT_EQ(fraction_text(1e300), "1.000000");
  EXPECT_EQ(fraction_text(std::numeric_limits<double>::infinity()), "1.000000");
  EXPECT_EQ(fraction_text(std::numeric_limits<double>::quiet_NaN()), "0.000000");
}

// A locale with a comma, if the system has one.
class in_comma_locale : public testing::Test {
 protected:
  in_comma_locale() {
    for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "ru_RU.UTF-8", "German", "de-DE"}) {
      if (std::setlocale(LC_ALL, name) != nullptr) return;
    }
    has_one_ = false;
  }
  ~in_comma_locale() override { std::setlocale(LC_ALL, "C"); }

  bool has_one_ = true;
};

// The C++ library's own, which every system has.
class comma_punctuation : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
};

TEST(in_comma_locale_of_the_language, numbers_are_written_and_read_with_a_point) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new comma_punctuation));
  const std::string block = build_region_block(region_list{anna, bob}, photo_size);
  const region_list regions = parsed(block_of_two);
  std::locale::global(before);
  EXPECT_EQ(block, block_of_two);
  EXPECT_EQ(regions, (region_list{anna, bob}));
}

TEST_F(in_comma_locale, numbers_are_written_and_read_with_a_point) {
  if (!has_one_) GTEST_SKIP() << "This system has no locale with a decimal comma.";
  EXPECT_EQ(build_region_block(region_list{anna, bob}, photo_size), block_of_two);
  EXPECT_EQ(parsed(block_of_two), (region_list{anna, bob}));
}

TEST(parse_region_info, reads_back_what_was_built) {
  EXPECT_EQ(parsed(block_of_two), (region_list{anna, bob}));
  const region_list markup = {{L"<b>\"O'Neil\" &amp; \u00c4\U0001f600</b>", 0, 1, 0.5, 0.25}};
  EXPECT_EQ(parsed(build_region_packet(markup, {})), markup);
}

TEST(parse_region_info, reads_it_among_any_bytes) {
  EXPECT_EQ(parsed(std::string("\xff\xd8 <rdf:li>\0", 12) + block_of_two + std::string("<rdf:li>\0\xff\xd9", 11)),
            (region_list{anna, bob}));
}

TEST(parse_region_info, a_text_without_the_microsoft_form_has_none) {
  EXPECT_TRUE(parsed("").empty());
  EXPECT_TRUE(parsed("<MP:RegionInf").empty());
  EXPECT_TRUE(parsed(block_of_two.substr(block_of_two.find("   <mwg-rs:Regions"))).empty());
  EXPECT_TRUE(parsed(info("<MPReg:PersonDisplayName>Anna</MPReg:PersonDisplayName>")).empty());
  EXPECT_TRUE(parsed(build_region_block({}, photo_size)).empty());
}

TEST(parse_region_info, keeps_what_the_list_has) {
  region_list regions = {bob};
  EXPECT_FALSE(parse_region_info("none", regions));
  EXPECT_TRUE(parse_region_info(info("<rdf:li>"), regions));
  EXPECT_EQ(regions, (region_list{bob, {}}));
}

TEST(parse_region_info, an_item_in_which_nothing_is_found_is_a_region_too) {
  EXPECT_EQ(parsed(info("<rdf:li/><rdf:li>text</rdf:li>")), (region_list{{}, {}}));
}

TEST(parse_region_info, half_a_block_goes_on_to_the_end_of_the_text) {
  const std::string half = block_of_two.substr(0, block_of_two.find("</MP:RegionInfo>"));
  EXPECT_EQ(parsed(half), (region_list{anna, bob}));
  EXPECT_EQ(parsed(half + "<rdf:li MPReg:PersonDisplayName=\"C\"/>"), (region_list{anna, bob, {L"C"}}));
}

TEST(parse_region_info, only_the_first_block_counts) {
  EXPECT_EQ(parsed(info(rectangle_item("0.5")) + block_of_two), (region_list{{L"", 0.5, 0, 0, 0}}));
}

TEST(parse_region_info, reads_the_attribute_forms_of_other_programs) {
  const region_list expected = {anna, {L"A & B", 0.5, 0.5, 0.25, 0.25}};
  EXPECT_EQ(parsed(R"(<rdf:Description><MP:RegionInfo><rdf:Description><MPRI:Regions><rdf:Bag>
      <rdf:li><rdf:Description MPReg:Rectangle="0.1, 0.2, 0.3, 0.4" MPReg:PersonDisplayName="Anna"/></rdf:li>
      <rdf:li MPReg:PersonDisplayName="A &amp; B" MPReg:Rectangle="0.5,0.5,0.25,0.25" MPReg:PersonLiveIdCID="1"/>
      </rdf:Bag></MPRI:Regions></rdf:Description></MP:RegionInfo></rdf:Description>)"),
            expected);
  EXPECT_EQ(parsed(info("<rdf:li><MPReg:PersonDisplayName\n xml:lang=\"x-default\">Anna</MPReg:PersonDisplayName>"
                        "<MPReg:Rectangle\t>0.1,0.2,0.3,0.4</MPReg:Rectangle></rdf:li>"
                        "<rdf:li rdf:parseType=\"Resource\" MPReg:PersonDisplayName=\"A &amp; B\">"
                        "<MPReg:Rectangle>0.5, 0.5, 0.25, 0.25</MPReg:Rectangle></rdf:li>")),
            expected);
}

TEST(parse_region_info, a_token_that_is_no_number_reads_as_zero_and_the_count_goes_on) {
  EXPECT_EQ(rectangle_in("0.1, bad, 0.3, 0.4"), (sides{0.1, 0, 0.3, 0.4}));
  EXPECT_EQ(rectangle_in("-, +, ., e5"), (sides{}));
  EXPECT_EQ(rectangle_in("--1, -+1, +-1, 0.5"), (sides{0, 0, 0, 0.5}));
}

TEST(parse_region_info, a_number_out_of_range_reads_as_zero) {
  EXPECT_EQ(rectangle_in("0.1, 1e999, -1e999, 0.4"), (sides{0.1, 0, 0, 0.4}));
  EXPECT_EQ(rectangle_in("1e-999, 1, 2, 3"), (sides{0, 1, 2, 3}));
}

TEST(parse_region_info, fields_without_a_token_stay_zero_and_a_fifth_token_is_not_read) {
  EXPECT_EQ(rectangle_in(""), (sides{}));
  EXPECT_EQ(rectangle_in(" , ,, "), (sides{}));
  EXPECT_EQ(rectangle_in("0.1"), (sides{0.1, 0, 0, 0}));
  EXPECT_EQ(rectangle_in("0.1, 0.2,"), (sides{0.1, 0.2, 0, 0}));
  EXPECT_EQ(rectangle_in("0.1,,, 0.2 ,0.3,0.4,0.5,bad"), (sides{0.1, 0.2, 0.3, 0.4}));
  EXPECT_EQ(rectangle_in("0.1 0.2 0.3 0.4"), (sides{0.1, 0, 0, 0}));
}

TEST(parse_region_info, numbers_are_read_as_the_c_library_does) {
  EXPECT_EQ(rectangle_in("\t\n0.25,+.5,1.,2.5E-1"), (sides{0.25, 0.5, 1, 0.25}));
  EXPECT_EQ(rectangle_in("0.5px, 0x.8, 0X1p-2, -0.5"), (sides{0.5, 0.5, 0.25, -0.5}));
  EXPECT_TRUE(std::isinf(rectangle_in("inf")[0]));
  EXPECT_TRUE(std::isnan(rectangle_in("nan")[0]));
}

TEST(parse_region_info, a_thousand_regions) {
  region_list regions;
  for (int i = 0; i < 1000; ++i)
    regions.push_back({L"person " + std::to_wstring(i), i / 1000.0, 0.5, 0.125, 0.25});
  EXPECT_EQ(parsed(packet_around(build_region_block(regions, photo_size))), regions);
}

TEST(read_xmp_value, reads_an_element_with_its_entities) {
  EXPECT_EQ(value_in("<a:b>A &amp;amp; &lt;B&gt; &quot;&apos; &x;</a:b>", "a:b"), "A &amp; <B> \"' &x;");
  EXPECT_EQ(value_in("<a:b></a:b>", "a:b"), "");
  for (const char* behind_name : {"\t", "\n", "\r", " ", " x=\"1\""})
    EXPECT_EQ(value_in("<a:b" + std::string(behind_name) + ">v</a:b>", "a:b"), "v");
}

TEST(read_xmp_value, a_longer_name_is_another_property) {
  EXPECT_EQ(value_in("<a:bc>1</a:bc><a:b>2</a:b>", "a:b"), "2");
  EXPECT_EQ(value_in("<a:bc>1</a:bc>", "a:b"), "(none)");
}

TEST(read_xmp_value, an_empty_element_gives_way_to_the_attribute) {
  EXPECT_EQ(value_in("<a:b />", "a:b"), "(none)");
  EXPECT_EQ(value_in("<a:b/>", "a:b"), "(none)");
  EXPECT_EQ(value_in("<x a:b=\"v\"/><a:b />", "a:b"), "v");
}

TEST(read_xmp_value, an_element_without_its_end_gives_way_to_the_attribute) {
  EXPECT_EQ(value_in("<a:b>v", "a:b"), "(none)");
  EXPECT_EQ(value_in("<a:b", "a:b"), "(none)");
  EXPECT_EQ(value_in("<a:b ", "a:b"), "(none)");
  EXPECT_EQ(value_in("<a:b>v<c a:b=\"w\">", "a:b"), "w");
}

TEST(read_xmp_value, reads_an_attribute_with_its_entities) {
  EXPECT_EQ(value_in("<x a:b=\"A &amp; B\" c=\"d\">", "a:b"), "A & B");
  EXPECT_EQ(value_in("<x a:b=\"\">", "a:b"), "");
  EXPECT_EQ(value_in("<x a:b='v'>", "a:b"), "(none)");
  EXPECT_EQ(value_in("<x a:b=\"v", "a:b"), "(none)");
}

TEST(read_xmp_value, the_element_comes_first) {
  EXPECT_EQ(value_in("<x a:b=\"attribute\"><a:b>element</a:b>", "a:b"), "element");
}

TEST(strip_region_blocks, takes_our_block_out_with_its_own_line) {
  EXPECT_EQ(strip_region_blocks(packet_around(block_of_two)),
            packet_head.substr(0, packet_head.size() - 1) + packet_tail);
}

TEST(strip_region_blocks, keeps_other_descriptions_byte_for_byte) {
  const std::string other = "  <rdf:Description rdf:about=\"\" xmlns:a=\"b\"\n\t><a:c>\r\n</a:c></rdf:Description>";
  EXPECT_EQ(strip_region_blocks(packet_around(other + "\n" + block_of_two + other + "\n")),
            packet_around(other + other + "\n"));
}

TEST(strip_region_blocks, takes_one_lf_on_each_side_and_blanks_and_tabs_on_the_left) {
  const std::string block = "<rdf:Description qzxx:managed=\"true\"></rdf:Description>";
  EXPECT_EQ(strip_region_blocks("a\n\n \t " + block + "\n\nb"), "a\n\nb");
  EXPECT_EQ(strip_region_blocks("a  " + block + " \nb"), "a \nb");
  EXPECT_EQ(strip_region_blocks("a\r\n" + block + "\r\nb"), "a\r\r\nb");
  EXPECT_EQ(strip_region_blocks(block), "");
  EXPECT_EQ(strip_region_blocks("\n" + block + "\n"), "");
}

TEST(strip_region_blocks, takes_out_every_block_of_ours) {
  EXPECT_EQ(strip_region_blocks("a" + block_of_two + "b" + block_of_two + "c"), "abc");
}

TEST(strip_region_blocks, half_a_block_of_ours_stays_but_for_its_elements) {
  const std::string marker = "qzxx:managed=\"true\"";
  for (const std::string& half :
       {marker, marker + "</rdf:Description>", "<rdf:Description " + marker, "</rdf:Description>" + marker})
    EXPECT_EQ(strip_region_blocks(half), half);
  EXPECT_EQ(strip_region_blocks("a<MP:RegionInfo/>b" + marker + "c"), "ab" + marker + "c");
}

TEST(strip_region_blocks, takes_out_elements_that_other_programs_wrote) {
  for (const std::string name : {"MP:RegionInfo", "mwg-rs:Regions"}) {
    for (const char* start : {"\t>", "\n>", "\r\n>", " a=\"b\">", ">"})
      EXPECT_EQ(strip_region_blocks("a<" + name + start + "<rdf:Bag/></" + name + ">b"), "ab") << start;
    for (const char* empty : {"/>", " />", " a=\"b\"/>"})
      EXPECT_EQ(strip_region_blocks("a<" + name + empty + "b</" + name + ">"), "ab</" + name + ">") << empty;
    EXPECT_EQ(strip_region_blocks("a\n \t<" + name + "></" + name + ">\nb<" + name + "/>c"), "abc");
  }
}

TEST(strip_region_blocks, takes_elements_out_of_foreign_blocks_and_leaves_these) {
  EXPECT_EQ(
      strip_region_blocks("<rdf:Description a:b=\"c\">\n <x:y>1</x:y>\n <mwg-rs:Regions rdf:parseType=\"Resource\">"
                          "<mwg-rs:RegionList/></mwg-rs:Regions>\n <x:z/>\n</rdf:Description>"),
      "<rdf:Description a:b=\"c\">\n <x:y>1</x:y> <x:z/>\n</rdf:Description>");
}

TEST(strip_region_blocks, leaves_names_that_only_start_alike) {
  for (const char* other :
       {"<MP:RegionInfoX></MP:RegionInfo>", "<mwg-rs:RegionsList/>", "<MP:RegionInfo", "<mwg-rs:Regions"})
    EXPECT_EQ(strip_region_blocks(other), other);
  EXPECT_EQ(strip_region_blocks("<MP:RegionInfoX/><MP:RegionInfo/>b"), "<MP:RegionInfoX/>b");
}

TEST(strip_region_blocks, half_an_element_ends_the_removal_of_its_kind) {
  EXPECT_EQ(strip_region_blocks("<MP:RegionInfo/>a<MP:RegionInfo>b<mwg-rs:Regions/><MP:RegionInfo/>c"),
            "a<MP:RegionInfo>b<MP:RegionInfo/>c");
  EXPECT_EQ(strip_region_blocks("<mwg-rs:Regions <mwg-rs:RegionsX"), "<mwg-rs:Regions <mwg-rs:RegionsX");
}

TEST(strip_region_blocks, a_marker_that_a_cut_puts_together_counts_too) {
  const std::string block = "<rdf:Description qzxx:managed=\"true\"></rdf:Description>";
  EXPECT_EQ(strip_region_blocks("a<rdf:Description qzxx:man" + block + "aged=\"true\"></rdf:Description>b"), "ab");
  EXPECT_EQ(strip_region_blocks("a<rdf:Descr" + block + "iption qzxx:managed=\"true\"></rdf:Description>b"), "ab");
}

TEST(strip_region_blocks, does_what_step_by_step_removal_does) {
  const std::string pieces[] = {"<rdf:Description",
                                "</rdf:Description>",
                                "qzxx:managed=\"true\"",
                                "qzxx:man",
                                "aged=\"true\"",
                                "<rdf:Descr",
                                "iption",
                                "\n",
                                " ",
                                "\t",
                                "\r",
                                "<MP:RegionInfo",
                                "</MP:RegionInfo>",
                                ">",
                                "/>",
                                "<mwg-rs:Regions",
                                "</mwg-rs:Regions>",
                                "x",
                                "<MP:Reg",
                                "ionInfo>",
                                "</rdf:Description",
                                "<mwg-rs:",
                                "Regions/>",
                                "</MP:"};
  std::mt19937 random(1);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < 30'000; ++round) {
    std::string text;
    for (std::size_t i = 0, count = below(40); i < count; ++i)
      text += pieces[below(std::size(pieces))];
    ASSERT_EQ(strip_region_blocks(text), support::plainly_stripped(text)) << text;
  }
}

TEST(with_region_block, stands_in_front_of_the_last_end_of_the_properties) {
  EXPECT_EQ(with_region_block("<a></rdf:RDF>b</rdf:RDF>c", region_list{anna, bob}, photo_size),
            "<a></rdf:RDF>b" + block_of_two + "</rdf:RDF>c");
  EXPECT_EQ(with_region_block("</rdf:RDF>", region_list{anna, bob}, photo_size), block_of_two + "</rdf:RDF>");
}

TEST(with_region_block, takes_the_place_of_what_was_there) {
  const std::string other = "<rdf:Description a:b=\"c\"/>";
  const std::string once = with_region_block(packet_around(other), region_list{anna}, photo_size);
  EXPECT_EQ(with_region_block(once, region_list{bob}, photo_size),
            packet_head + other + build_region_block(region_list{bob}, photo_size) + packet_tail.substr(1));
}

TEST(with_region_block, a_text_without_an_end_of_the_properties_becomes_a_packet) {
  for (const char* text : {"", "text", "</rdf:RD", "<MP:RegionInfo></rdf:RDF></MP:RegionInfo>"})
    EXPECT_EQ(with_region_block(text, region_list{anna, bob}, photo_size), packet_around(block_of_two)) << text;
}

// What took the square of the time would take hours.
class very_many : public testing::TestWithParam<const char*> {};

TEST_P(very_many, markers_take_no_longer_than_their_number) {
  const auto start = std::chrono::steady_clock::now();
  const std::string text = repeated(GetParam(), 100'000);
  for (const std::string& whole :
       {"<MP:RegionInfo>" + text, "<rdf:Description>" + text + "</rdf:Description>", block_of_two + text}) {
    const std::string stripped = strip_region_blocks(whole);
    EXPECT_LE(stripped.size(), whole.size());
    EXPECT_LE(parsed(whole).size(), whole.size());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(2));
}

INSTANTIATE_TEST_SUITE_P(regions, very_many,
                         testing::Values("qzxx:managed=\"true\"", "<rdf:Description", "</rdf:Description>",
                                         "<rdf:Description qzxx:managed=\"true\"></rdf:Description>",
                                         "<rdf:Description qzxx:managed=\"true\">", "<MP:RegionInfo>",
                                         "<MP:RegionInfo/>", "<MP:RegionInfo", "<mwg-rs:Regions></mwg-rs:Regions>",
                                         "<mwg-rs:Regions ", "<rdf:li", "<rdf:li><MPReg:Rectangle",
                                         "<rdf:li MPReg:PersonDisplayName=\"", "<MPReg:PersonDisplayName>",
                                         "MPReg:Rectangle=\"", "&", "\n \t"));

}  // namespace

}  // namespace quill_box::metadata
