#include "metadata/xmp_sidecar.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using quill_box::metadata::sidecar_with_keywords;
using quill_box::metadata::sidecar_with_rating;
using tag_vector = std::vector<std::wstring>;

const std::string head =
    "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\" x:xmptk=\"XMP Core\">\n"
    " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n";
const std::string tail =
    "  </rdf:Description>\n"
    " </rdf:RDF>\n"
    "</x:xmpmeta>\n"
    "<?xpacket end=\"w\"?>";
const std::string xmp_description = "  <rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\">\n";
const std::string dc_description = "  <rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n";

const std::string bag_of_a_and_b =
    "   <dc:subject>\n"
    "    <rdf:Bag>\n"
    "     <rdf:li>a</rdf:li>\n"
    "     <rdf:li>b</rdf:li>\n"
    "    </rdf:Bag>\n"
    "   </dc:subject>";
const std::string empty_bag =
    "   <dc:subject>\n"
    "    <rdf:Bag>\n"
    "    </rdf:Bag>\n"
    "   </dc:subject>";

TEST(rating_sidecar, without_an_old_text_is_the_whole_form_to_the_byte) {
  EXPECT_EQ(sidecar_with_rating("", "3"), head + xmp_description + "   <xmp:Rating>3</xmp:Rating>\n" + tail);
}

TEST(rating_sidecar, a_rating_of_0_is_written_as_0) {
  EXPECT_EQ(sidecar_with_rating("", "0"), head + xmp_description + "   <xmp:Rating>0</xmp:Rating>\n" + tail);
}

TEST(rating_sidecar, an_element_is_replaced_whatever_its_length) {
  EXPECT_EQ(sidecar_with_rating("<xmp:Rating>12</xmp:Rating>", "3"), "<xmp:Rating>3</xmp:Rating>");
  EXPECT_EQ(sidecar_with_rating("<xmp:Rating></xmp:Rating>", "500"), "<xmp:Rating>500</xmp:Rating>");
}

TEST(rating_sidecar, an_attribute_is_replaced_whatever_its_length) {
  EXPECT_EQ(sidecar_with_rating(R"(<a xmp:Rating="5" b="c"/>)", "500"), R"(<a xmp:Rating="500" b="c"/>)");
  EXPECT_EQ(sidecar_with_rating(R"(<a xmp:Rating=""/>)", "1"), R"(<a xmp:Rating="1"/>)");
}

TEST(rating_sidecar, the_element_goes_before_the_attribute) {
  EXPECT_EQ(sidecar_with_rating(R"(<a xmp:Rating="5"/><xmp:Rating>1<)", "2"), R"(<a xmp:Rating="5"/><xmp:Rating>2<)");
}

TEST(rating_sidecar, an_element_without_an_end_falls_through_to_the_attribute) {
  EXPECT_EQ(sidecar_with_rating(R"(xmp:Rating="5" <xmp:Rating>1)", "2"), R"(xmp:Rating="2" <xmp:Rating>1)");
}

TEST(rating_sidecar, goes_into_the_description_that_declares_the_namespace) {
  const std::string other = "  <rdf:Description rdf:about=\"\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\">x";
  EXPECT_EQ(
      sidecar_with_rating(
          head + other + "</rdf:Description>\n" + xmp_description + "   <xmp:Label>Red</xmp:Label>\n" + tail, "4"),
      head + other + "</rdf:Description>\n" + xmp_description +
          "   <xmp:Label>Red</xmp:Label>\n  "
          "   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>");
}

TEST(rating_sidecar, the_end_is_looked_for_from_the_description_on_and_not_from_the_declaration) {
  EXPECT_EQ(
      sidecar_with_rating(
          R"(<rdf:Description></rdf:Description><a xmlns:xmp="http://ns.adobe.com/xap/1.0/"></rdf:Description>)", "4"),
      "<rdf:Description>   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>"
      R"(<a xmlns:xmp="http://ns.adobe.com/xap/1.0/"></rdf:Description>)");
}

TEST(rating_sidecar, the_namespace_counts_only_with_its_closing_quote) {
  const std::string old =
      R"(<rdf:Description xmlns:xmp="http://ns.adobe.com/xap/1.0/mm/"></rdf:Description></rdf:RDF>)";
  EXPECT_EQ(sidecar_with_rating(old, "4"),
            R"(<rdf:Description xmlns:xmp="http://ns.adobe.com/xap/1.0/mm/"></rdf:Description>)" + xmp_description +
                "   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>");
}

TEST(rating_sidecar, a_namespace_declared_in_front_of_every_description_gets_a_new_one) {
  const std::string start =
      R"(<rdf:RDF xmlns:xmp="http://ns.adobe.com/xap/1.0/"><rdf:Description xmp:Label="Red"></rdf:Description>)";
  EXPECT_EQ(sidecar_with_rating(start + "</rdf:RDF>", "4"),
            start + xmp_description + "   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>");
}

TEST(rating_sidecar, a_self_closed_description_gets_a_new_one_beside_it) {
  const std::string old = R"(<rdf:Description xmlns:xmp="http://ns.adobe.com/xap/1.0/"/></rdf:RDF>)";
  EXPECT_EQ(sidecar_with_rating(old, "4"), R"(<rdf:Description xmlns:xmp="http://ns.adobe.com/xap/1.0/"/>)" +
                                               xmp_description +
                                               "   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>");
}

TEST(rating_sidecar, gets_a_new_description_in_front_of_the_first_rdf_end_tag) {
  EXPECT_EQ(sidecar_with_rating("x</rdf:RDF>y</rdf:RDF>", "4"),
            "x" + xmp_description + "   <xmp:Rating>4</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>y</rdf:RDF>");
}

TEST(rating_sidecar, a_text_without_any_of_these_is_replaced_whole) {
  EXPECT_EQ(sidecar_with_rating("no XMP at all", "3"), sidecar_with_rating("", "3"));
  EXPECT_EQ(sidecar_with_rating("<xmp:Rating/>", "3"), sidecar_with_rating("", "3"));
}

TEST(rating_sidecar, a_self_closed_element_is_not_recognised) {
  EXPECT_EQ(sidecar_with_rating("<xmp:Rating/></rdf:RDF>", "3"),
            "<xmp:Rating/>" + xmp_description + "   <xmp:Rating>3</xmp:Rating>\n  </rdf:Description>\n </rdf:RDF>");
}

TEST(keywords_sidecar, without_an_old_text_is_the_whole_form_to_the_byte) {
  EXPECT_EQ(sidecar_with_keywords("", tag_vector{L"a", L"b"}), head + dc_description + bag_of_a_and_b + "\n" + tail);
}

TEST(keywords_sidecar, an_empty_list_is_an_empty_bag) {
  EXPECT_EQ(sidecar_with_keywords("", tag_vector{}), head + dc_description + empty_bag + "\n" + tail);
}

TEST(keywords_sidecar, only_the_block_is_replaced_and_other_properties_survive) {
  const std::string before = head + dc_description + "   <dc:title>t</dc:title>\n   ";
  const std::string behind = "\n   <dc:creator>c</dc:creator>\n" + tail;
  EXPECT_EQ(sidecar_with_keywords(before + "<dc:subject><rdf:Bag><rdf:li>old</rdf:li></rdf:Bag></dc:subject>" + behind,
                                  tag_vector{L"a", L"b"}),
            before + bag_of_a_and_b + behind);
}

TEST(keywords_sidecar, goes_into_a_description_that_declares_the_namespace) {
  EXPECT_EQ(sidecar_with_keywords(head + dc_description + "   <dc:title>t</dc:title>\n" + tail, tag_vector{L"a", L"b"}),
            head + dc_description + "   <dc:title>t</dc:title>\n  \n" + bag_of_a_and_b +
                "\n  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>");
}

TEST(keywords_sidecar, passes_by_a_description_in_front_of_the_declaration) {
  const std::string other = "<rdf:Description>x</rdf:Description>";
  EXPECT_EQ(sidecar_with_keywords(other + "<rdf:Description xmlns:dc=''></rdf:Description>", tag_vector{L"a", L"b"}),
            other + "<rdf:Description xmlns:dc=''>\n" + bag_of_a_and_b + "\n  </rdf:Description>");
}

TEST(keywords_sidecar, gets_a_new_description_in_front_of_the_first_rdf_end_tag) {
  EXPECT_EQ(sidecar_with_keywords("x</rdf:RDF>y</rdf:RDF>", tag_vector{L"a", L"b"}),
            "x" + dc_description + bag_of_a_and_b + "\n  </rdf:Description>\n </rdf:RDF>y</rdf:RDF>");
}

TEST(keywords_sidecar, the_end_of_a_block_counts_only_behind_its_start) {
  EXPECT_EQ(sidecar_with_keywords("</dc:subject><dc:subject></rdf:RDF>", tag_vector{L"a", L"b"}),
            "</dc:subject><dc:subject>" + dc_description + bag_of_a_and_b + "\n  </rdf:Description>\n </rdf:RDF>");
}

TEST(keywords_sidecar, a_self_closed_block_is_not_recognised) {
  EXPECT_EQ(sidecar_with_keywords("<dc:subject/></rdf:RDF>", tag_vector{L"a", L"b"}),
            "<dc:subject/>" + dc_description + bag_of_a_and_b + "\n  </rdf:Description>\n </rdf:RDF>");
  EXPECT_EQ(sidecar_with_keywords("xmlns:dc=<dc:subject/></rdf:Description>", tag_vector{L"a", L"b"}),
            "xmlns:dc=<dc:subject/>\n" + bag_of_a_and_b + "\n  </rdf:Description>");
}

TEST(keywords_sidecar, a_text_without_any_of_these_is_replaced_whole) {
  EXPECT_EQ(sidecar_with_keywords("xmlns:dc= and no more", tag_vector{L"a"}),
            sidecar_with_keywords("", tag_vector{L"a"}));
}

TEST(keywords_sidecar, a_tag_lands_raw) {
  EXPECT_EQ(sidecar_with_keywords("<dc:subject></dc:subject>", tag_vector{L"R&D <\u00e4>"}),
            "   <dc:subject>\n    <rdf:Bag>\n     <rdf:li>R&D <\xc3\xa4></rdf:li>\n    </rdf:Bag>\n   </dc:subject>");
}

TEST(both_sidecars, live_in_one_text) {
  const std::string rated = sidecar_with_rating("", "3");
  const std::string both = sidecar_with_keywords(rated, tag_vector{L"a", L"b"});
  EXPECT_EQ(both, head + xmp_description + "   <xmp:Rating>3</xmp:Rating>\n  </rdf:Description>\n " + dc_description +
                      bag_of_a_and_b + "\n" + "  </rdf:Description>\n </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>");
  EXPECT_EQ(sidecar_with_rating(both, "4").find("<xmp:Rating>4</xmp:Rating>"), both.find("<xmp:Rating>3</xmp:Rating>"));
}

}  // namespace
