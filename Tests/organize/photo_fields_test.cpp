#include "organize/photo_fields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "metadata/region_xmp.h"
#include "organize/geo/geo_bytes.h"
#include "organize/geo/reverse_geocode.h"
#include "platform/property_keys.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using platform::hresult;
using platform::latitude_decimal_key;
using platform::latitude_key;
using platform::latitude_ref_key;
using platform::longitude_decimal_key;
using platform::longitude_key;
using platform::longitude_ref_key;
using platform::property_key;
using platform::property_value;
using platform::time_value;
using platform::win32_error;
using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using numbers = std::vector<double>;
using name_list = std::vector<std::wstring>;

constexpr const wchar_t* default_naming = L"<Date> - <Location> - <People> - <Original Filename>";
constexpr const wchar_t* default_placement = LR"(<Date>\<Location>)";

const std::wstring photo = LR"(C:\photos\IMG_1.jpg)";
const std::string people_get = R"(get(C:\photos\IMG_1.jpg, people_names))";
const std::wstring countries_path = LR"(C:\Program Files\Quill Box\Content\GeoData\countries.bin)";
const std::wstring cities_path = LR"(C:\Program Files\Quill Box\Content\GeoData\cities.bin)";

// Half past ten at night in local time, an hour ahead of UTC on the simulated machine.
platform::file_time evening_of(int year, int month, int day) {
  return support::ticks_of({year, month, day, 21, 30, 0, 0});
}

std::string bytes_with_people(const name_list& names) {
  std::vector<metadata::people_region> regions;
  for (const std::wstring& name : names)
    regions.push_back({name, 0.1, 0.1, 0.2, 0.2});
  return metadata::build_region_packet(regions, {});
}

// A country around Paris, a city in it and one in the south without a state.
void write_geo_data(support::simulated_machine& machine) {
  machine.write_file(countries_path,
                     geo_bytes::countries_file({geo_bytes::country("France", {geo_bytes::square(-5, 42, 8, 51)}),
                                                geo_bytes::country("Chile", {geo_bytes::square(-76, -56, -66, -17)})}));
  machine.write_file(cities_path, geo_bytes::cities_file({geo_bytes::city(48.8566, 2.3522, "Paris", "Ile-de-France"),
                                                          geo_bytes::city(-33.45, -70.67, "Santiago", "")}));
}

void make_photo(support::simulated_machine& machine, const std::wstring& path, const name_list& people = {}) {
  machine.write_file(path, people.empty() ? "photo" : bytes_with_people(people));
  machine.entry(path).created = evening_of(2021, 3, 4);
  machine.entry(path).last_written = evening_of(2025, 12, 31);
  machine.properties.handler(L".jpg");
  write_geo_data(machine);
}

class photo_fields_test : public testing::Test {
 protected:
  photo_fields_test() {
    forget_geo_tables();
    make_photo(machine, photo);
    machine.calls.clear();
  }
  ~photo_fields_test() override { forget_geo_tables(); }

  void give(const property_key& key, property_value value) {
    machine.properties.set_handler_value(photo, key, std::move(value));
  }
  void give_position(double latitude, double longitude) {
    give(latitude_decimal_key, latitude);
    give(longitude_decimal_key, longitude);
  }
  void name_people(const name_list& people) { machine.write_file(photo, bytes_with_people(people)); }
  [[nodiscard]] std::vector<std::string> gets() const { return machine.calls.named({"get"}); }

  support::scoped_machine machine;
};

// --- stem and extension

struct name_case {
  std::wstring path;
  std::wstring stem;
  std::wstring extension;
};

void expect_names(const std::vector<name_case>& cases) {
  for (const name_case& expected : cases) {
    const photo_fields fields = read_photo_fields(expected.path);
    EXPECT_EQ(fields.stem, expected.stem);
    EXPECT_EQ(fields.extension, expected.extension);
  }
}

TEST_F(photo_fields_test, the_stem_reaches_to_the_last_dot) {
  expect_names({{LR"(C:\a\IMG_1.jpg)", L"IMG_1", L".jpg"},
                {LR"(C:\a.b\archive.tar.JPG)", L"archive.tar", L".JPG"},
                {LR"(C:\a.b\none)", L"none", L""},
                {LR"(C:\a\dot.)", L"dot", L"."},
                {LR"(\\server\share\x.png)", L"x", L".png"},
                {L"/home/u/x.png", L"x", L".png"}});
}

TEST_F(photo_fields_test, a_name_with_a_leading_dot_alone_is_all_stem) {
  expect_names({{LR"(C:\a\.hidden)", L".hidden", L""},
                {LR"(C:\a\.hidden.jpg)", L".hidden", L".jpg"},
                {L"/home/u/.hidden", L".hidden", L""}});
}

TEST_F(photo_fields_test, a_colon_ends_the_name_on_a_drive_or_a_share) {
  expect_names({{LR"(C:\a\x.jpg:stream)", L"x", L".jpg"},
                {LR"(C:\a\x.jpg:Zone.Identifier)", L"x", L".jpg"},
                {LR"(C:\a\x:y.jpg)", L"x", L""},
                {LR"(C:\a\.hidden:s)", L".hidden", L""},
                {LR"(C:\a\:s)", L"", L""},
                {L"C:x.jpg:s", L"x", L".jpg"},
                {LR"(\\server\share\x.jpg:s)", L"x", L".jpg"},
                {LR"(\\?\C:\a\x.jpg:s)", L"x", L".jpg"}});
}

TEST_F(photo_fields_test, a_colon_is_part_of_the_name_where_there_are_no_drives) {
  expect_names({{L"/home/u/12:30 lunch.jpg", L"12:30 lunch", L".jpg"},
                {L"/home/u/a:b/x.jpg", L"x", L".jpg"},
                {L"/home/u/x.jpg:y", L"x", L".jpg:y"},
                {L"12:30 lunch.jpg", L"12:30 lunch", L".jpg"}});
}

// --- the order of the calls

TEST_F(photo_fields_test, an_open_store_is_asked_for_date_position_and_people_in_this_order) {
  give(platform::date_taken_key, time_value{evening_of(2024, 7, 14)});
  give_position(48.85, 2.35);
  static_cast<void>(reverse_geocode(0, 0));
  machine.calls.clear();
  static_cast<void>(read_photo_fields(photo));
  const std::vector<std::string> calls = machine.calls.all();
  const std::vector<std::string> first(calls.begin(), calls.begin() + 6);
  EXPECT_THAT(first, ElementsAre(R"(attributes(C:\photos\IMG_1.jpg))",
                                 R"(open_handler_store(C:\photos\IMG_1.jpg, handler_properties_only))",
                                 R"(get(C:\photos\IMG_1.jpg, date_taken))",
                                 "to_local_with_current_bias(" + std::to_string(evening_of(2024, 7, 14)) + ")",
                                 R"(get(C:\photos\IMG_1.jpg, latitude_decimal))",
                                 R"(get(C:\photos\IMG_1.jpg, longitude_decimal))"));
  // What follows is of the people, for whom no handler is opened.
  EXPECT_EQ(machine.calls.count("open_handler_store"), 1U);
  EXPECT_EQ(machine.calls.count("facts"), 0U);
  EXPECT_THAT(gets(), ElementsAre(first[2], first[4], first[5], people_get));
}

TEST_F(photo_fields_test, without_a_value_the_date_falls_back_before_the_position_is_asked_for) {
  static_cast<void>(read_photo_fields(photo));
  EXPECT_THAT(
      machine.calls.named({"get", "facts", "to_local_with_current_bias"}),
      ElementsAre(R"(get(C:\photos\IMG_1.jpg, date_taken))", R"(facts(C:\photos\IMG_1.jpg))",
                  "to_local_with_current_bias(" + std::to_string(evening_of(2021, 3, 4)) + ")",
                  R"(get(C:\photos\IMG_1.jpg, latitude_decimal))", R"(get(C:\photos\IMG_1.jpg, longitude_decimal))",
                  R"(get(C:\photos\IMG_1.jpg, latitude))", R"(get(C:\photos\IMG_1.jpg, latitude_ref))",
                  R"(get(C:\photos\IMG_1.jpg, longitude))", R"(get(C:\photos\IMG_1.jpg, longitude_ref))", people_get));
}

TEST_F(photo_fields_test, only_the_coordinate_that_wasnt_found_is_read_as_degrees) {
  give(longitude_decimal_key, 2.35);
  give(latitude_key, numbers{48, 51, 0});
  give(latitude_ref_key, std::wstring(L"N"));
  EXPECT_EQ(read_photo_fields(photo).city, L"Paris");
  EXPECT_THAT(gets(),
              ElementsAre(R"(get(C:\photos\IMG_1.jpg, date_taken))", R"(get(C:\photos\IMG_1.jpg, latitude_decimal))",
                          R"(get(C:\photos\IMG_1.jpg, longitude_decimal))", R"(get(C:\photos\IMG_1.jpg, latitude))",
                          R"(get(C:\photos\IMG_1.jpg, latitude_ref))", people_get));
}

// --- a store that isn't open

TEST_F(photo_fields_test, a_cloud_placeholder_has_its_creation_date_and_no_position) {
  give(platform::date_taken_key, time_value{evening_of(2024, 7, 14)});
  give_position(48.85, 2.35);
  machine.entry(photo).attributes = attribute::offline;
  const photo_fields fields = read_photo_fields(photo);
  EXPECT_EQ(fields.date, L"2021-03-04");
  EXPECT_EQ(fields.location, L"");
  EXPECT_EQ(fields.country, L"");
  EXPECT_EQ(machine.calls.count("open_handler_store"), 0U);
  EXPECT_THAT(gets(), AnyOf(IsEmpty(), ElementsAre(people_get)));
}

TEST_F(photo_fields_test, people_are_read_without_an_open_store) {
  name_people({L"Anna"});
  machine.calls.refuse("open_handler_store", photo, hresult::file_not_found);
  machine.calls.refuse("open_property_set_storage", photo, win32_error::file_not_found, 1);
  EXPECT_EQ(read_photo_fields(photo).people, L"Anna");
}

TEST_F(photo_fields_test, a_missing_file_has_its_name_and_nothing_else) {
  const photo_fields fields = read_photo_fields(LR"(C:\photos\gone.jpg)");
  EXPECT_EQ(fields.stem, L"gone");
  EXPECT_EQ(fields.extension, L".jpg");
  EXPECT_EQ(fields.date + fields.location + fields.city + fields.state + fields.country + fields.people, L"");
}

TEST_F(photo_fields_test, a_type_without_a_handler_is_read_from_its_property_set) {
  const std::wstring drawing = LR"(C:\photos\drawing.xyz)";
  make_photo(machine, drawing);
  machine.properties.set_property_set_value(drawing, platform::date_taken_key, time_value{evening_of(2020, 1, 2)});
  EXPECT_EQ(read_photo_fields(drawing).date, L"2020-01-02");
}

TEST_F(photo_fields_test, a_failure_to_open_goes_to_the_caller) {
  machine.calls.refuse("open_handler_store", photo, hresult::access_denied);
  machine.calls.refuse("open_property_set_storage", photo, win32_error::access_denied);
  try {
    static_cast<void>(read_photo_fields(photo));
    FAIL() << "nothing was raised";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::StartsWith("Failed to open metadata 0x80070005 "));
  }
}

// --- the date

TEST_F(photo_fields_test, the_date_is_the_local_day) {
  give(platform::date_taken_key, time_value{support::ticks_of({2024, 12, 31, 23, 30, 0, 0})});
  EXPECT_EQ(read_photo_fields(photo).date, L"2025-01-01");
  machine.clock.set_zone(-std::chrono::minutes(210));
  EXPECT_EQ(read_photo_fields(photo).date, L"2024-12-31");
}

TEST_F(photo_fields_test, the_date_has_all_of_its_digits) {
  give(platform::date_taken_key, time_value{evening_of(1899, 2, 3)});
  EXPECT_EQ(read_photo_fields(photo).date, L"1899-02-03");
}

TEST_F(photo_fields_test, without_a_date_taken_the_creation_counts_and_not_the_last_change) {
  EXPECT_EQ(read_photo_fields(photo).date, L"2021-03-04");
}

TEST_F(photo_fields_test, a_date_taken_of_another_type_doesnt_count) {
  for (const property_value& value :
       {property_value(std::wstring(L"2024-07-14")), property_value(std::uint32_t{20240714}), property_value(45000.0),
        property_value(platform::other_type{7})}) {
    give(platform::date_taken_key, value);
    EXPECT_EQ(read_photo_fields(photo).date, L"2021-03-04");
  }
}

TEST_F(photo_fields_test, a_date_taken_that_cant_be_read_doesnt_count) {
  give(platform::date_taken_key, time_value{evening_of(2024, 7, 14)});
  machine.calls.refuse("get", photo, hresult::fail, 1);
  EXPECT_EQ(read_photo_fields(photo).date, L"2021-03-04");
}

TEST_F(photo_fields_test, a_date_taken_beyond_the_calendar_doesnt_count) {
  give(platform::date_taken_key, time_value{~platform::file_time{0}});
  EXPECT_EQ(read_photo_fields(photo).date, L"2021-03-04");
}

TEST_F(photo_fields_test, without_any_date_it_is_empty) {
  machine.calls.refuse("facts", photo, win32_error::access_denied);
  EXPECT_EQ(read_photo_fields(photo).date, L"");
}

// --- the position

TEST_F(photo_fields_test, a_position_gives_city_state_country_and_all_of_them_joined) {
  give_position(48.85, 2.35);
  const photo_fields fields = read_photo_fields(photo);
  EXPECT_EQ(fields.city, L"Paris");
  EXPECT_EQ(fields.state, L"Ile-de-France");
  EXPECT_EQ(fields.country, L"France");
  EXPECT_EQ(fields.location, L"Paris, Ile-de-France, France");
}

TEST_F(photo_fields_test, an_empty_part_leaves_no_comma_in_the_location) {
  give_position(-33.4, -70.6);
  EXPECT_EQ(read_photo_fields(photo).location, L"Santiago, Chile");
  give_position(45, 1);
  const photo_fields country_alone = read_photo_fields(photo);
  EXPECT_EQ(country_alone.location, L"France");
  EXPECT_EQ(country_alone.city, L"");
  give_position(0, 0);
  EXPECT_EQ(read_photo_fields(photo).location, L"");
}

TEST_F(photo_fields_test, with_one_coordinate_missing_all_four_stay_empty_and_no_geo_data_is_read) {
  give(latitude_decimal_key, 48.85);
  const photo_fields fields = read_photo_fields(photo);
  EXPECT_EQ(fields.location + fields.city + fields.state + fields.country, L"");
  EXPECT_THAT(machine.calls.about(countries_path), IsEmpty());
}

TEST_F(photo_fields_test, a_decimal_of_another_type_doesnt_count) {
  give_position(48.85, 2.35);
  give(latitude_decimal_key, std::wstring(L"48.85"));
  EXPECT_EQ(read_photo_fields(photo).location, L"");
  give(latitude_decimal_key, std::uint32_t{48});
  EXPECT_EQ(read_photo_fields(photo).location, L"");
}

class photo_degrees : public photo_fields_test {
 protected:
  // Paris, with the reference and the degrees in minutes and seconds that a test puts in their place.
  [[nodiscard]] std::wstring city_at(const property_value& latitude, const property_value& latitude_reference,
                                     const property_value& longitude = numbers{2, 21, 0},
                                     const property_value& longitude_reference = std::wstring(L"E")) {
    give(latitude_key, latitude);
    give(latitude_ref_key, latitude_reference);
    give(longitude_key, longitude);
    give(longitude_ref_key, longitude_reference);
    return read_photo_fields(photo).city;
  }
};

TEST_F(photo_degrees, stand_in_for_missing_decimals) {
  EXPECT_EQ(city_at(numbers{48, 51, 0}, std::wstring(L"N")), L"Paris");
  EXPECT_EQ(city_at(numbers{48, 51.4, 0}, std::wstring(L"N")), L"Paris");
  EXPECT_EQ(city_at(numbers{48, 0, 3060}, std::wstring(L"N")), L"Paris");
}

TEST_F(photo_degrees, south_and_west_are_negative_in_either_case) {
  const numbers latitude{33, 27, 0};
  const numbers longitude{70, 40, 12};
  EXPECT_EQ(city_at(latitude, std::wstring(L"S"), longitude, std::wstring(L"W")), L"Santiago");
  EXPECT_EQ(city_at(latitude, std::wstring(L"s"), longitude, std::wstring(L"w")), L"Santiago");
  EXPECT_EQ(city_at(latitude, std::wstring(L"N"), longitude, std::wstring(L"W")), L"");
  EXPECT_EQ(city_at(latitude, std::wstring(L"South"), longitude, std::wstring(L"W")), L"");
}

TEST_F(photo_degrees, any_other_reference_is_positive) {
  EXPECT_EQ(city_at(numbers{48, 51, 0}, std::wstring(L"")), L"Paris");
  EXPECT_EQ(city_at(numbers{48, 51, 0}, std::wstring(L"north")), L"Paris");
}

TEST_F(photo_degrees, need_three_numbers_at_least) {
  EXPECT_EQ(city_at(numbers{48.85, 0}, std::wstring(L"N")), L"");
  EXPECT_EQ(city_at(numbers{}, std::wstring(L"N")), L"");
  EXPECT_EQ(city_at(numbers{48, 51, 0, 7}, std::wstring(L"N")), L"Paris");
}

TEST_F(photo_degrees, of_another_type_dont_count) {
  EXPECT_EQ(city_at(48.85, std::wstring(L"N")), L"");
  EXPECT_EQ(city_at(name_list{L"48", L"51", L"0"}, std::wstring(L"N")), L"");
  EXPECT_EQ(city_at(platform::other_type{0x1004}, std::wstring(L"N")), L"");
}

TEST_F(photo_degrees, without_a_text_for_their_reference_dont_count) {
  EXPECT_EQ(city_at(numbers{48, 51, 0}, property_value()), L"");
  EXPECT_EQ(city_at(numbers{48, 51, 0}, name_list{L"N"}), L"");
  EXPECT_EQ(city_at(numbers{48, 51, 0}, std::uint32_t{78}), L"");
}

TEST_F(photo_degrees, that_cant_be_read_dont_count) {
  // The fourth and the fifth call: behind date and decimals.
  for (const std::size_t turn : {4U, 5U}) {
    machine.calls.before("get", turn, [this] { machine.calls.refuse("get", photo, hresult::fail, 1); });
    EXPECT_EQ(city_at(numbers{48, 51, 0}, std::wstring(L"N")), L"") << turn;
  }
  EXPECT_EQ(city_at(numbers{48, 51, 0}, std::wstring(L"N")), L"Paris");
}

// The western edge of the country is the sum that minutes, degrees and seconds have in this order; in any other order
// it is a little less, and outside.
TEST_F(photo_degrees, are_summed_in_a_fixed_order) {
  const double sum = 23.548798761388152 / 60.0 + 22 + 46.54 / 3600.0;
  machine.write_file(countries_path,
                     geo_bytes::countries_file({geo_bytes::country("Edge", {geo_bytes::square(sum, 0, 30, 10)})}));
  static_cast<void>(city_at(numbers{5, 0, 0}, std::wstring(L"N"), numbers{22, 23.548798761388152, 46.54}));
  EXPECT_EQ(read_photo_fields(photo).country, L"Edge");
}

// --- the people

TEST_F(photo_fields_test, people_stay_in_order_with_doubles_and_without_the_unnamed) {
  name_people({L"Ben"});
  EXPECT_EQ(read_photo_fields(photo).people, L"Ben");
  name_people({L"Ben", L"Anna", L"Ben"});
  EXPECT_EQ(read_photo_fields(photo).people, L"Ben, Anna and Ben");
  machine.write_file(photo, R"(<MP:RegionInfo><MPRI:Regions><rdf:Bag>)"
                            R"(<rdf:li MPReg:Rectangle="0.1, 0.1, 0.2, 0.2" MPReg:PersonDisplayName=""/>)"
                            R"(<rdf:li MPReg:Rectangle="0.5, 0.1, 0.2, 0.2" MPReg:PersonDisplayName="Zoe"/>)"
                            R"(</rdf:Bag></MPRI:Regions></MP:RegionInfo>)");
  EXPECT_EQ(read_photo_fields(photo).people, L"Zoe");
}

TEST_F(photo_fields_test, four_people_are_two_names_and_two_others) {
  name_people({L"Anna", L"Ben", L"Carl", L"Dora"});
  EXPECT_EQ(read_photo_fields(photo).people, L"Anna, Ben and 2 others");
}

// --- with the default patterns

TEST_F(photo_fields_test, a_photo_that_tells_nothing_is_named_by_its_creation_and_its_stem) {
  EXPECT_EQ(render_pattern(default_naming, read_photo_fields(photo)), L"2021-03-04 - IMG_1");
}

TEST_F(photo_fields_test, a_photo_from_france_with_two_people_has_all_four_parts) {
  name_people({L"Anna", L"Ben"});
  machine.entry(photo).created = evening_of(2021, 3, 4);
  give_position(48.85, 2.35);
  EXPECT_EQ(render_pattern(default_naming, read_photo_fields(photo)),
            L"2021-03-04 - Paris, Ile-de-France, France - Anna and Ben - IMG_1");
}

TEST_F(photo_fields_test, without_a_location_the_place_is_the_date_alone) {
  EXPECT_EQ(render_pattern(default_placement, read_photo_fields(photo)), L"2021-03-04");
}

// --- every call fails in turn

struct outcome_of_reading {
  photo_fields fields;
  std::string raised;
};

outcome_of_reading read_or_fail(const std::wstring& path) {
  try {
    return {read_photo_fields(path), {}};
  } catch (const std::runtime_error& error) {
    return {{}, error.what()};
  }
}

void expect_sound(const outcome_of_reading& result, const support::fault_round& round) {
  if (!round.struck) {
    EXPECT_EQ(result.raised, "");
    EXPECT_EQ(result.fields.date, L"2024-07-14");
    EXPECT_EQ(result.fields.location, L"Paris, Ile-de-France, France");
    EXPECT_EQ(result.fields.people, L"Anna and Ben");
  }
  if (!result.raised.empty()) {
    EXPECT_THAT(result.raised, testing::StartsWith("Failed to open metadata 0x"));
    EXPECT_THAT(*round.struck, testing::StartsWith("open_"));
    return;
  }
  EXPECT_EQ(result.fields.stem, L"IMG_1");
  EXPECT_EQ(result.fields.extension, L".jpg");
  EXPECT_THAT(result.fields.date, AnyOf(L"2024-07-14", L"2021-03-04", L""));
  EXPECT_THAT(result.fields.city, AnyOf(L"Paris", L""));
  EXPECT_THAT(result.fields.country, AnyOf(L"France", L""));
  std::wstring joined;
  for (const std::wstring& part : {result.fields.city, result.fields.state, result.fields.country}) {
    if (!part.empty()) joined += (joined.empty() ? L"" : L", ") + part;
  }
  EXPECT_EQ(result.fields.location, joined);
  EXPECT_THAT(result.fields.people, AnyOf(L"Anna and Ben", L""));
}

TEST(photo_fields_faults, a_failing_call_costs_at_most_what_it_would_have_told) {
  const std::string content = bytes_with_people({L"Anna", L"Ben"});
  outcome_of_reading result;
  const support::fault_scenario scenario = {[](support::simulated_machine& machine) {
                                              forget_geo_tables();
                                              make_photo(machine, photo, {L"Anna", L"Ben"});
                                              const auto give = [&machine](const property_key& key,
                                                                           property_value value) {
                                                machine.properties.set_handler_value(photo, key, std::move(value));
                                              };
                                              give(platform::date_taken_key, time_value{evening_of(2024, 7, 14)});
                                              give(latitude_decimal_key, 48.85);
                                              give(longitude_key, numbers{2, 21, 0});
                                              give(longitude_ref_key, std::wstring(L"E"));
                                            },
                                            [&result](support::simulated_machine&) { result = read_or_fail(photo); }};
  constexpr support::fault_code codes[] = {win32_error::access_denied, win32_error::sharing_violation,
                                           win32_error::not_enough_memory, hresult::fail, hresult::out_of_memory};
  support::for_each_fault(codes, scenario, [&](const support::fault_round& round) {
    expect_sound(result, round);
    EXPECT_EQ(round.machine.read_file(photo), content);
  });
  forget_geo_tables();
}

}  // namespace

}  // namespace quill_box::organize
