#include "metadata/people_regions.h"

#include "metadata/file_metadata_store.h"
#include "metadata/metadata_fixture.h"
#include "metadata/region_xmp.h"
#include "support/allocation_faults.h"
#include "support/failure_of.h"
#include "support/fault_sweep.h"
#include "support/jpeg_bytes.h"

namespace quill_box::metadata {

namespace {

using platform::hresult;
using platform::image_size;
using platform::people_names_key;
using platform::property_value;
using platform::win32_error;
using support::failure_of;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using region_list = std::vector<people_region>;

const std::wstring picture = LR"(C:\picture.png)";
const std::wstring picture_sidecar = picture + L".xmp";

const people_region anna = {L"Anna", 0.1, 0.2, 0.3, 0.4};
const people_region bob = {L"A & B", 0.5, 0.25, 0.125, 0.0625};
const people_region nameless = {L"", 0.5, 0.5, 0.1, 0.1};

const std::string leading = jpeg_bytes::start_of_image +
                            jpeg_bytes::segment(0xe0, std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14)) +
                            jpeg_bytes::segment(0xfe, "comment");
const std::string following = jpeg_bytes::segment(0xdb, std::string(65, 't')) + jpeg_bytes::image_data + "trailer";

const std::string foreign_description =
    "  <rdf:Description rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\"4\">\r\n\t<x:y/>\n"
    "  </rdf:Description>";

std::string jpeg_with(const std::string& packet) { return leading + jpeg_bytes::xmp_segment(packet) + following; }

std::string packet_around(const std::string& inside) {
  return "<?xpacket begin=\"\"?><x:xmpmeta><rdf:RDF>\n" + inside + "\n </rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>";
}

region_list names_of(std::initializer_list<const wchar_t*> names) {
  region_list regions;
  for (const wchar_t* name : names)
    regions.push_back({name});
  return regions;
}

class people_regions : public metadata_test {
 protected:
  people_regions() {
    machine.write_file(photo, leading + following);
    machine.write_file(picture, "picture");
  }

  static bool set(const std::wstring& path, const region_list& regions) {
    return file_metadata_store(path).set_people_regions(regions);
  }
  static region_list get(const std::wstring& path) { return file_metadata_store(path).get_people_regions(); }

  void store_names(const std::wstring& path, const property_value& names) {
    machine.properties.set_property_set_value(path, people_names_key, names);
  }
  [[nodiscard]] property_value stored_names(const std::wstring& path) const {
    return machine.properties.property_set_value(path, people_names_key);
  }
  void set_size(const std::wstring& path, image_size size) { machine.images.image(path).size = size; }
};

// --- reading

TEST_F(people_regions, of_an_empty_path_are_none) {
  EXPECT_THAT(get(L""), IsEmpty());
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(people_regions, of_a_missing_file_are_none) { EXPECT_THAT(get(LR"(C:\none.jpg)"), IsEmpty()); }

TEST_F(people_regions, come_from_the_first_place_that_has_any) {
  machine.write_file(picture_sidecar, build_region_packet(region_list{bob}, {}));
  EXPECT_EQ(get(picture), region_list{bob});
  store_names(picture, tag_vector{L"Carl", L"Dora"});
  EXPECT_EQ(get(picture), names_of({L"Carl", L"Dora"}));
  machine.write_file(picture, "any bytes" + build_region_block(region_list{anna}, {}));
  machine.calls.clear();
  EXPECT_EQ(get(picture), region_list{anna});
  EXPECT_EQ(machine.calls.count("open_property_set_storage"), 0U);
}

TEST_F(people_regions, an_empty_name_in_the_property_set_is_a_region_without_a_name) {
  store_names(picture, tag_vector{L"", L"Anna"});
  EXPECT_THAT(get(picture), ElementsAre(people_region{}, people_region{L"Anna"}));
}

TEST_F(people_regions, the_property_set_is_opened_for_reading_only) {
  machine.calls.clear();
  EXPECT_THAT(get(picture), IsEmpty());
  EXPECT_THAT(machine.calls.named({"open_property_set_storage", "create_store", "get"}),
              ElementsAre(R"(open_property_set_storage(C:\picture.png, read_deny_write))",
                          R"(create_store(C:\picture.png, read))", R"(get(C:\picture.png, people_names))"));
}

TEST_F(people_regions, names_in_another_form_than_a_list_are_none) {
  for (const property_value& value : {property_value(L"Anna"), property_value(7U), property_value(tag_vector())}) {
    store_names(picture, value);
    EXPECT_THAT(get(picture), IsEmpty());
  }
}

TEST_F(people_regions, a_place_that_can_not_be_read_gives_way_to_the_next) {
  machine.write_file(picture, build_region_block(region_list{anna}, {}));
  store_names(picture, tag_vector{L"Carl"});
  machine.write_file(picture_sidecar, build_region_packet(region_list{bob}, {}));
  machine.calls.refuse("read", picture, win32_error::read_fault);
  EXPECT_EQ(get(picture), names_of({L"Carl"}));
  for (const char* operation : {"get", "create_store", "open_property_set_storage"}) {
    machine.calls.refuse(operation, picture, hresult::fail, 1);
    EXPECT_EQ(get(picture), region_list{bob}) << operation;
  }
  machine.calls.refuse("open_property_set_storage", picture, hresult::fail);
  machine.calls.refuse("read", picture_sidecar, win32_error::read_fault);
  EXPECT_THAT(get(picture), IsEmpty());
}

TEST_F(people_regions, of_a_sidecar_in_utf16_are_read) {
  std::string utf16 = "\xff\xfe";
  for (const char c : build_region_block(region_list{anna}, {}))
    utf16 += {c, '\0'};
  machine.write_file(picture_sidecar, utf16);
  EXPECT_EQ(get(picture), region_list{anna});
}

// --- the size of the image

TEST_F(people_regions, dimensions_are_the_stored_ones_where_nothing_tells_the_orientation) {
  set_size(photo, {4000, 3000});
  machine.calls.clear();
  EXPECT_EQ(image_dimensions(photo), (image_size{4000, 3000}));
  EXPECT_THAT(machine.calls.all(), ElementsAre(R"(open_image_for_reading(C:\photo.jpg))", R"(image_size(C:\photo.jpg))",
                                               R"(get_metadata(C:\photo.jpg, /app1/ifd/{ushort=274}))",
                                               R"(get_metadata(C:\photo.jpg, /ifd/{ushort=274}))",
                                               R"(get_metadata(C:\photo.jpg, /app1/{ushort=0}/{ushort=274}))"));
}

TEST_F(people_regions, dimensions_are_swapped_for_the_orientations_that_turn) {
  set_size(photo, {4000, 3000});
  for (const wchar_t* query : {L"/app1/ifd/{ushort=274}", L"/ifd/{ushort=274}", L"/app1/{ushort=0}/{ushort=274}"}) {
    for (std::uint16_t orientation = 0; orientation <= 9; ++orientation) {
      const bool turns = orientation >= 5 && orientation <= 8;
      const image_size expected = turns ? image_size{3000, 4000} : image_size{4000, 3000};
      machine.images.image(photo).values = {{query, orientation}};
      EXPECT_EQ(image_dimensions(photo), expected) << orientation;
      machine.images.image(photo).values = {{query, std::uint32_t{orientation}}};
      EXPECT_EQ(image_dimensions(photo), expected) << orientation;
    }
  }
}

TEST_F(people_regions, the_first_orientation_that_is_found_counts_whatever_its_type) {
  set_size(photo, {4000, 3000});
  auto& values = machine.images.image(photo).values;
  const std::uint16_t turned = 6;
  for (const property_value& other : {property_value(1U), property_value(std::int32_t{6}), property_value(L"6"),
                                      property_value(), property_value(platform::other_type{17})}) {
    values = {{L"/app1/ifd/{ushort=274}", other}, {L"/ifd/{ushort=274}", turned}};
    EXPECT_EQ(image_dimensions(photo), (image_size{4000, 3000}));
  }
  values = {{L"/ifd/{ushort=274}", turned}, {L"/app1/{ushort=0}/{ushort=274}", 1U}};
  EXPECT_EQ(image_dimensions(photo), (image_size{3000, 4000}));
}

TEST_F(people_regions, dimensions_are_zero_where_they_are_not_known) {
  EXPECT_EQ(image_dimensions(text_file), image_size{});
  for (const image_size unknown : {image_size{}, {0, 3000}, {4000, 0}}) {
    set_size(photo, unknown);
    EXPECT_EQ(image_dimensions(photo), image_size{});
  }
  set_size(photo, {4000, 3000});
  for (const char* operation : {"image_size", "open_image_for_reading"}) {
    machine.calls.refuse(operation, photo, hresult::fail);
    EXPECT_EQ(image_dimensions(photo), image_size{}) << operation;
  }
}

// --- comparing

TEST_F(people_regions, the_same_set_written_twice_leaves_the_file_unchanged) {
  for (const std::wstring& path : {photo, picture}) {
    EXPECT_TRUE(set(path, {anna, bob}));
    const std::string content = machine.read_file(path);
    machine.calls.clear();
    EXPECT_FALSE(set(path, {bob, anna, nameless}));
    EXPECT_EQ(machine.read_file(path), content);
    EXPECT_EQ(machine.calls.count("write"), 0U);
    EXPECT_EQ(machine.calls.count("set"), 0U);
    EXPECT_EQ(machine.calls.count("open_image_for_reading"), 0U);
  }
}

TEST_F(people_regions, differ_in_the_sixth_decimal_and_not_in_the_seventh) {
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_FALSE(set(photo, {{L"Anna", 0.1000004, 0.2, 0.3, 0.4}}));
  EXPECT_TRUE(set(photo, {{L"Anna", 0.100001, 0.2, 0.3, 0.4}}));
  EXPECT_TRUE(set(photo, {{L"anna", 0.100001, 0.2, 0.3, 0.4}}));
}

TEST_F(people_regions, without_rectangles_are_the_same_as_the_same_names_with_them) {
  EXPECT_TRUE(set(photo, {anna, bob}));
  EXPECT_FALSE(set(photo, names_of({L"A & B", L"Anna"})));
  EXPECT_TRUE(set(photo, names_of({L"A & B", L"Bert"})));
  EXPECT_FALSE(set(photo, {{L"Bert", 0.1, 0.1, 0.1, 0.1}, bob}));
}

TEST_F(people_regions, one_rectangle_among_them_is_compared) {
  EXPECT_TRUE(set(photo, {anna, bob}));
  EXPECT_TRUE(set(photo, {anna, {L"A & B"}}));
}

TEST_F(people_regions, the_same_names_in_another_number_differ) {
  EXPECT_TRUE(set(photo, names_of({L"a", L"a", L"b"})));
  EXPECT_TRUE(set(photo, names_of({L"a", L"b", L"b"})));
  EXPECT_TRUE(set(photo, names_of({L"a", L"b"})));
}

TEST_F(people_regions, none_are_the_same_as_nameless_ones) {
  EXPECT_FALSE(set(photo, {}));
  EXPECT_FALSE(set(photo, {nameless}));
  const std::string other = jpeg_with(packet_around("<MP:RegionInfo><rdf:li>no name</rdf:li></MP:RegionInfo>"));
  machine.write_file(photo, other);
  EXPECT_FALSE(set(photo, {}));
  EXPECT_EQ(machine.read_file(photo), other);
}

// --- into a JPEG

TEST_F(people_regions, a_jpeg_without_xmp_gets_a_packet_behind_its_leading_segments) {
  set_size(photo, {4000, 3000});
  EXPECT_TRUE(set(photo, {anna, bob}));
  EXPECT_EQ(machine.read_file(photo),
            leading + jpeg_bytes::xmp_segment(build_region_packet(region_list{anna, bob}, {4000, 3000})) + following);
  EXPECT_EQ(stored_names(photo), no_value);
  EXPECT_FALSE(machine.exists(photo_sidecar));
  EXPECT_EQ(get(photo), (region_list{anna, bob}));
}

TEST_F(people_regions, a_jpeg_taken_in_portrait_declares_the_stored_height_as_its_width) {
  set_size(photo, {4000, 3000});
  machine.images.image(photo).values = {{L"/app1/ifd/{ushort=274}", std::uint16_t{6}}};
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_THAT(machine.read_file(photo), testing::HasSubstr("stDim:w=\"3000\" stDim:h=\"4000\""));
}

TEST_F(people_regions, a_file_without_known_dimensions_has_no_applied_to_dimensions_line) {
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_THAT(machine.read_file(photo), Not(testing::HasSubstr("AppliedToDimensions")));
}

TEST_F(people_regions, a_packet_keeps_its_other_descriptions_byte_for_byte) {
  machine.write_file(photo, jpeg_with(packet_around(foreign_description)));
  EXPECT_TRUE(set(photo, {anna}));
  const std::string block_of_anna = build_region_block(region_list{anna}, {});
  const std::string head = "<?xpacket begin=\"\"?><x:xmpmeta><rdf:RDF>\n" + foreign_description;
  const std::string tail = "</rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>";
  EXPECT_EQ(machine.read_file(photo), jpeg_with(head + "\n " + block_of_anna + tail));
  EXPECT_TRUE(set(photo, {bob}));
  EXPECT_EQ(machine.read_file(photo), jpeg_with(head + build_region_block(region_list{bob}, {}) + tail));
}

TEST_F(people_regions, a_foreign_block_is_lost_on_the_first_write) {
  machine.write_file(photo, jpeg_with(packet_around("<rdf:Description a:b=\"c\">\n<mwg-rs:Regions><rdf:li>x</rdf:li>"
                                                    "</mwg-rs:Regions>\n<d:e/></rdf:Description>")));
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_EQ(machine.read_file(photo),
            jpeg_with("<?xpacket begin=\"\"?><x:xmpmeta><rdf:RDF>\n<rdf:Description a:b=\"c\"><d:e/></rdf:Description>"
                      "\n " +
                      build_region_block(region_list{anna}, {}) + "</rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>"));
}

TEST_F(people_regions, an_empty_list_leaves_an_empty_block) {
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_TRUE(set(photo, {nameless}));
  const std::string packet_of_anna = build_region_packet(region_list{anna}, {});
  EXPECT_EQ(machine.read_file(photo), jpeg_with(with_region_block(packet_of_anna, {}, {})));
  EXPECT_THAT(machine.read_file(photo), testing::HasSubstr("qzxx:managed=\"true\""));
  EXPECT_THAT(get(photo), IsEmpty());
}

TEST_F(people_regions, a_payload_without_an_end_of_the_properties_is_replaced_whole) {
  for (const char* payload : {"", "</rdf:RD", "nothing that is known"}) {
    machine.write_file(photo, jpeg_with(payload));
    EXPECT_TRUE(set(photo, {anna}));
    EXPECT_EQ(machine.read_file(photo), jpeg_with(build_region_packet(region_list{anna}, {})));
  }
}

TEST_F(people_regions, each_jpeg_extension_in_either_case_is_written_into) {
  for (const wchar_t* name : {L"a.JPG", L"a.Jpeg", L"a.jpe", L"a.JFIF"}) {
    const std::wstring path = LR"(C:\)" + std::wstring(name);
    machine.write_file(path, leading + following);
    EXPECT_TRUE(set(path, {anna}));
    EXPECT_EQ(machine.read_file(path), jpeg_with(build_region_packet(region_list{anna}, {})));
  }
}

TEST_F(people_regions, the_image_is_closed_before_it_is_written) {
  set_size(photo, {4000, 3000});
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_EQ(get(photo), region_list{anna});
}

// --- into the property set and the sidecar

TEST_F(people_regions, of_another_file_go_into_the_property_set_and_the_sidecar) {
  set_size(picture, {640, 480});
  EXPECT_TRUE(set(picture, {bob, nameless, anna, bob}));
  EXPECT_EQ(machine.read_file(picture), "picture");
  EXPECT_EQ(stored_names(picture), property_value(tag_vector{L"A & B", L"Anna"}));
  EXPECT_EQ(machine.read_file(picture_sidecar), build_region_packet(region_list{bob, anna, bob}, {640, 480}));
}

TEST_F(people_regions, of_another_file_read_back_as_names_alone) {
  EXPECT_TRUE(set(picture, {anna, bob}));
  EXPECT_EQ(get(picture), names_of({L"A & B", L"Anna"}));
  store_names(picture, {});
  EXPECT_EQ(get(picture), (region_list{anna, bob}));
}

TEST_F(people_regions, names_are_sorted_by_their_utf16_units) {
  EXPECT_TRUE(set(picture, names_of({L"\uff21", L"b", L"\U0001f600", L"B", L"\u00e4", L"b", L"ba"})));
  EXPECT_EQ(stored_names(picture), property_value(tag_vector{L"B", L"b", L"ba", L"\u00e4", L"\U0001f600", L"\uff21"}));
}

TEST_F(people_regions, an_empty_list_of_names_is_written_too) {
  store_names(picture, tag_vector{L"Anna"});
  machine.calls.clear();
  EXPECT_TRUE(set(picture, {}));
  EXPECT_THAT(machine.calls.named({"set", "commit"}),
              ElementsAre(R"(set(C:\picture.png, people_names, []))", R"(commit(C:\picture.png))"));
  EXPECT_EQ(machine.read_file(picture_sidecar), build_region_packet({}, {}));
}

TEST_F(people_regions, an_existing_sidecar_keeps_everything_else) {
  machine.write_file(picture_sidecar, packet_around(foreign_description));
  EXPECT_TRUE(set(picture, {anna}));
  EXPECT_EQ(machine.read_file(picture_sidecar),
            with_region_block(packet_around(foreign_description), region_list{anna}, {}));
  EXPECT_THAT(machine.read_file(picture_sidecar), testing::HasSubstr(foreign_description));
}

TEST_F(people_regions, a_sidecar_without_an_end_of_the_properties_is_replaced_whole) {
  machine.write_file(picture_sidecar, "text");
  EXPECT_TRUE(set(picture, {anna}));
  EXPECT_EQ(machine.read_file(picture_sidecar), build_region_packet(region_list{anna}, {}));
}

TEST_F(people_regions, a_jpeg_that_can_not_be_rewritten_goes_the_other_way) {
  const auto went_the_other_way = [&] {
    return stored_names(photo) == property_value(tag_vector{L"Anna"}) && machine.exists(photo_sidecar);
  };
  machine.write_file(photo, "no JPEG in truth");
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_TRUE(went_the_other_way());
  EXPECT_EQ(machine.read_file(photo), "no JPEG in truth");
}

TEST_F(people_regions, a_packet_that_becomes_too_large_goes_the_other_way) {
  const std::string block = build_region_block(region_list{anna}, {});
  const std::string fits = packet_around(std::string(65504 - block.size() - packet_around("").size(), ' '));
  machine.write_file(photo, jpeg_with(fits));
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_EQ(machine.read_file(photo), jpeg_with(with_region_block(fits, region_list{anna}, {})));
  EXPECT_FALSE(machine.exists(photo_sidecar));

  const std::string too_long = jpeg_with(" " + fits);
  machine.write_file(photo, too_long);
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_EQ(machine.read_file(photo), too_long);
  EXPECT_EQ(stored_names(photo), property_value(tag_vector{L"Anna"}));
  EXPECT_TRUE(machine.exists(photo_sidecar));
}

TEST_F(people_regions, a_jpeg_that_can_not_be_written_goes_the_other_way) {
  machine.entry(photo).attributes |= platform::attribute::read_only;
  machine.calls.refuse("open_property_set_storage", photo, hresult::storage_access_denied);
  EXPECT_TRUE(set(photo, {anna}));
  EXPECT_EQ(machine.read_file(photo), leading + following);
  EXPECT_EQ(machine.read_file(photo_sidecar), build_region_packet(region_list{anna}, {}));
}

TEST_F(people_regions, a_property_set_alone_is_enough) {
  machine.calls.refuse("open", picture_sidecar, win32_error::access_denied);
  EXPECT_TRUE(set(picture, {anna}));
  EXPECT_EQ(stored_names(picture), property_value(tag_vector{L"Anna"}));
}

TEST_F(people_regions, a_sidecar_alone_is_enough) {
  for (const char* operation : {"open_property_set_storage", "create_store", "set", "commit"}) {
    machine.write_file(picture_sidecar, "");
    machine.calls.refuse(operation, picture, hresult::storage_access_denied);
    EXPECT_TRUE(set(picture, {anna})) << operation;
    EXPECT_EQ(stored_names(picture), no_value);
    EXPECT_EQ(machine.read_file(picture_sidecar), build_region_packet(region_list{anna}, {}));
  }
}

// --- failures

TEST_F(people_regions, an_empty_path_is_raised) {
  EXPECT_EQ(failure_of([] { set(L"", {anna}); }), "Failed to set people regions: no file path");
}

TEST_F(people_regions, when_neither_property_set_nor_sidecar_can_be_written_it_is_raised) {
  machine.calls.refuse("open_property_set_storage", picture, hresult::storage_access_denied);
  machine.calls.refuse("open", picture_sidecar, win32_error::access_denied);
  EXPECT_EQ(failure_of([] { set(picture, {anna}); }), "Failed to set people regions");
}

TEST_F(people_regions, a_lack_of_memory_for_the_names_leaves_the_sidecar) {
  // The first allocation of this size is the list's.
  region_list many;
  for (int i = 0; i < 1000; ++i)
    many.push_back({std::wstring(30, L'n') + std::to_wstring(i)});
  bool struck = false;
  for (std::size_t turn = 1; turn < 200 && !struck; ++turn) {
    machine.write_file(picture_sidecar, "");
    store_names(picture, {});
    bool written = false;
    {
      const support::allocation_fault fault(turn, 10'000);
      try {
        written = set(picture, many);
      } catch (const std::bad_alloc&) {
        written = false;
      }
      if (!fault.struck()) break;
    }
    struck = written && stored_names(picture) == no_value && !machine.read_file(picture_sidecar).empty();
  }
  EXPECT_TRUE(struck);
}

TEST_F(people_regions, a_sidecar_that_is_too_large_is_not_written_over) {
  machine.calls.refuse("open_property_set_storage", picture, hresult::storage_access_denied);
  machine.write_file(picture_sidecar, "").content.resize(314'572'801, ' ');
  EXPECT_FALSE(write_regions_sidecar(picture, region_list{anna}, {}));
  EXPECT_EQ(machine.entry(picture_sidecar).content.size(), 314'572'801U);
}

TEST_F(people_regions, an_empty_path_has_no_sidecar) {
  EXPECT_FALSE(write_regions_sidecar(L"", region_list{anna}, {}));
}

// --- every call failing in turn

struct subject {
  std::string name;
  std::wstring path;
  std::string content;
  std::string sidecar;
};

const std::string old_packet = with_region_block(packet_around(foreign_description), region_list{bob}, {640, 480});
const std::wstring fat_picture = LR"(D:\picture.png)";

const subject subjects[] = {
    {"jpeg_without_xmp", photo, leading + following, ""},
    {"jpeg_with_regions", photo, jpeg_with(old_packet), ""},
    {"no_jpeg_in_truth", photo, "text", ""},
    {"other_file", picture, "picture", ""},
    {"other_file_with_sidecar", picture, "picture", old_packet},
    {"file_without_property_sets", fat_picture, "picture", old_packet},
};

class people_regions_fault_sweep : public testing::TestWithParam<subject> {};

TEST_P(people_regions_fault_sweep, every_failing_call_is_raised_or_another_place_has_the_people) {
  const subject& what = GetParam();
  const std::wstring sidecar = what.path + L".xmp";
  const support::fault_code codes[] = {win32_error::access_denied, win32_error::sharing_violation, hresult::fail,
                                       hresult::storage_sharing_violation, support::short_write{}};
  std::string raised;
  bool written = false;
  const support::fault_scenario scenario = {
      [&](support::simulated_machine& machine) {
        machine.disk.add_drive(L"D:").format = support::disk_format::fat;
        machine.write_file(what.path, what.content);
        if (!what.sidecar.empty()) machine.write_file(sidecar, what.sidecar);
        machine.images.image(what.path).size = {640, 480};
      },
      [&](support::simulated_machine&) {
        raised = failure_of([&] { written = file_metadata_store(what.path).set_people_regions(region_list{anna}); });
      }};
  support::for_each_fault(codes, scenario, [&](const support::fault_round& round) {
    EXPECT_THAT(raised, AnyOf("none", "Failed to set people regions"));
    const std::string content = round.machine.read_file(what.path);
    const std::string text = round.machine.exists(sidecar) ? round.machine.read_file(sidecar) : "";
    const auto has_anna = [](const std::string& bytes) {
      region_list found;
      return parse_region_info(bytes, found) && found == region_list{anna};
    };
    const bool is_stored =
        has_anna(content) || has_anna(text) ||
        round.machine.properties.property_set_value(what.path, people_names_key) == property_value(tag_vector{L"Anna"});
    if (raised == "none") {
      EXPECT_TRUE(written);
      EXPECT_TRUE(is_stored);
    }
    if (!round.struck) {
      EXPECT_EQ(raised, "none");
      EXPECT_NE(has_anna(content), has_anna(text));
    }
    // Only a write that fails half way leaves a file between its old and its new bytes.
    const auto failed_at = [&](std::string_view operation) {
      return round.struck && round.struck->starts_with(operation);
    };
    if (!failed_at("write(") && !failed_at("set_end(")) {
      EXPECT_TRUE(content == what.content || has_anna(content));
      EXPECT_TRUE(content.ends_with(what.path == photo && what.content != "text" ? following : what.content));
    }
    // A sidecar that can't be read is written anew.
    const bool sidecar_is_new =
        failed_at("read(") || failed_at("open(") || failed_at("size(") || failed_at("facts(") || failed_at("write(");
    if (!what.sidecar.empty() && !sidecar_is_new) {
      EXPECT_THAT(text, testing::HasSubstr(foreign_description));
    }
  });
}

INSTANTIATE_TEST_SUITE_P(all, people_regions_fault_sweep, testing::ValuesIn(subjects),
                         [](const testing::TestParamInfo<subject>& instance) { return instance.param.name; });

}  // namespace

}  // namespace quill_box::metadata
