// Each of the five actions, on each kind of item, with each of its platform calls failing in turn.
#include <algorithm>
#include <functional>
#include <optional>
#include <ostream>

#include "metadata/metadata_fixture.h"
#include "metadata/rating_and_tag_actions.h"
#include "support/fault_sweep.h"
#include "text/tag_list.h"

namespace quill_box::metadata {

namespace {

namespace attribute = platform::attribute;
using platform::hresult;
using platform::keywords_key;
using platform::property_value;
using platform::rating_key;
using platform::win32_error;
using support::fault_code;
using support::fault_round;
using support::simulated_machine;

const property_value old_rating = 25U;
const tag_vector old_tags = {L"a", L"b"};
const std::string old_sidecar =
    "<rdf:RDF><xmp:Rating>2</xmp:Rating><dc:subject><rdf:li>a</rdf:li></dc:subject><other/></rdf:RDF>";
const std::string old_ini =
    "[Other]\r\nKey=value\r\n[QuillBox]\r\nTags=a;b\r\nRating=2\r\n"
    "[{F29F85E0-4FF9-1068-AB91-08002B27B3D9}]\r\nProp5=31,x;a;b\r\n";
constexpr std::uint32_t ini_attributes = attribute::hidden | attribute::system;

// --- what the actions are done to

struct subject {
  std::string name;
  std::wstring path;
  std::function<void(simulated_machine&)> prepare;
};

void PrintTo(const subject& what, std::ostream* out) { *out << what.name; }

void store_old_values(simulated_machine& machine, const std::wstring& path) {
  machine.properties.set_handler_value(path, rating_key, old_rating);
  machine.properties.set_handler_value(path, keywords_key, old_tags);
  machine.properties.set_property_set_value(path, rating_key, old_rating);
  machine.properties.set_property_set_value(path, keywords_key, old_tags);
}

void make_photo(simulated_machine& machine, const std::wstring& path) {
  machine.write_file(path, "photo");
  store_old_values(machine, path);
  machine.properties.handler(L".jpg");
}

void make_photo_of_refusing_type(simulated_machine& machine, const std::wstring& path) {
  make_photo(machine, path);
  auto& handler = machine.properties.handler(L".jpg");
  handler.refused_keys = {{rating_key, hresult::storage_access_denied}, {keywords_key, hresult::fail}};
}

void make_protected_folder(simulated_machine& machine) {
  machine.write_file(folder_ini, old_ini);
  machine.entry(folder_ini).attributes = ini_attributes;
  machine.entry(folder).attributes |= attribute::read_only;
  store_old_values(machine, folder);
}

const std::wstring fat_photo = LR"(D:\photo.jpg)";

const subject subjects[] = {
    {"file_with_handler", photo, [](simulated_machine& machine) { make_photo(machine, photo); }},
    {"file_without_handler", text_file,
     [](simulated_machine& machine) {
       machine.write_file(text_file, "photo");
       store_old_values(machine, text_file);
     }},
    {"image_with_room", photo,
     [](simulated_machine& machine) {
       make_photo_of_refusing_type(machine, photo);
       machine.images.image(photo).frame_queries = {L"/xmp/xmp:Rating", L"/xmp/dc:subject"};
     }},
    {"file_of_refusing_type", photo, [](simulated_machine& machine) { make_photo_of_refusing_type(machine, photo); }},
    {"file_with_sidecar", fat_photo,
     [](simulated_machine& machine) {
       machine.disk.add_drive(L"D:").format = support::disk_format::fat;
       make_photo_of_refusing_type(machine, fat_photo);
       machine.write_file(fat_photo + L".xmp", old_sidecar);
     }},
    {"new_folder", folder, [](simulated_machine& machine) { machine.make_directory(folder); }},
    {"protected_folder", folder, make_protected_folder},
};

// --- what is done to them

struct action {
  std::string name;
  std::function<void(const std::wstring&)> run;
  std::optional<int> new_stars;                                    // of the rating actions
  std::function<tag_vector(const tag_vector& old)> new_tags = {};  // of the tag actions
};

void PrintTo(const action& how, std::ostream* out) { *out << how.name; }

const action actions[] = {
    {"set_rating", [](const std::wstring& path) { set_rating_action(path, L"4"); }, 4},
    {"remove_rating", [](const std::wstring& path) { remove_rating_action(path); }, 0},
    {"remove_tags",
     [](const std::wstring& path) { remove_tags_action(path); },
     {},
     [](const tag_vector&) { return tag_vector(); }},
    {"toggle_tags",
     [](const std::wstring& path) { toggle_tags(path, L"c"); },
     {},
     [](tag_vector tags) {
       tags.push_back(L"c");
       return tags;
     }},
    {"update_tags",
     [](const std::wstring& path) { update_tags(path, L"+c;-A"); },
     {},
     [](tag_vector tags) {
       std::erase(tags, L"a");
       tags.push_back(L"c");
       return tags;
     }},
};

// --- where the new value may stand

struct end_state {
  const subject& what;
  const action& how;
  simulated_machine& machine;
  std::string raised;
  std::vector<std::string> log;

  [[nodiscard]] bool is_folder() const { return what.path == folder; }
  [[nodiscard]] tag_vector new_tags() const {
    return how.new_tags(what.name == "new_folder" ? tag_vector() : old_tags);
  }
  [[nodiscard]] property_value percent() const { return *how.new_stars == 4 ? 75U : 0U; }

  [[nodiscard]] bool in_store(const std::function<property_value(const platform::property_key&)>& value) const {
    if (how.new_stars) return value(rating_key) == percent();
    const property_value stored = value(keywords_key);
    return new_tags().empty() ? stored == no_value : stored == property_value(new_tags());
  }

  [[nodiscard]] bool in_handler() const {
    return in_store([this](const auto& key) { return machine.properties.handler_value(what.path, key); });
  }
  [[nodiscard]] bool in_property_set() const {
    return in_store([this](const auto& key) { return machine.properties.property_set_value(what.path, key); });
  }
  [[nodiscard]] bool in_image() const {
    const auto& written = machine.images.image(what.path).written;
    return std::any_of(written.begin(), written.end(), [this](const auto& entry) {
      return entry.second ==
             (how.new_stars ? property_value(static_cast<std::uint32_t>(*how.new_stars)) : property_value(new_tags()));
    });
  }
  [[nodiscard]] bool in_sidecar() const {
    if (!machine.exists(what.path + L".xmp")) return false;
    const std::string sidecar = machine.read_file(what.path + L".xmp");
    if (how.new_stars) return sidecar.find("<xmp:Rating>" + std::to_string(*how.new_stars) + "<") != std::string::npos;
    std::string bag = "<rdf:Bag>\n";
    for (const std::wstring& tag : new_tags())
      bag += "     <rdf:li>" + std::string(tag.begin(), tag.end()) + "</rdf:li>\n";
    return sidecar.find(bag + "    </rdf:Bag>") != std::string::npos;
  }
  [[nodiscard]] bool stored() const { return in_handler() || in_property_set() || in_image() || in_sidecar(); }
  [[nodiscard]] bool logged(std::string_view text) const {
    return std::any_of(log.begin(), log.end(),
                       [text](const std::string& line) { return line.find(text) != std::string::npos; });
  }

  [[nodiscard]] std::wstring ini_value(const std::wstring& section, const std::wstring& key) const {
    const auto value = machine.profiles.read(folder_ini, section, key, 4096);
    return value ? *value : L"?";
  }
};

// A failure is raised, or logged, or did no harm because another route stored the value. The one exception: an item
// whose attributes can't be read is taken for a missing one and passed over.
void check_that_nothing_is_hidden(const end_state& end, const fault_round& round) {
  if (!end.raised.empty() || end.stored()) return;
  const bool look_failed = round.struck && (round.struck->starts_with("attributes(") || end.logged("Skipping file"));
  EXPECT_TRUE(look_failed || end.logged("takes no rating and no tags")) << "neither stored nor told";
}

void check_known_message(const end_state& end) {
  const std::string_view known[] = {"Failed to write new metadata. Error provided by Windows: ",
                                    "Failed to commit changes to metadata. Error: 0x",
                                    "Failed to get rating",
                                    "Failed to get tags",
                                    "Failed to set rating",
                                    "Failed to set tags",
                                    "Failed to allocate memory for tags",
                                    "Failed to remove all tags"};
  EXPECT_TRUE(end.raised.empty() || std::any_of(std::begin(known), std::end(known),
                                                [&](std::string_view text) { return end.raised.starts_with(text); }))
      << end.raised;
}

void check_file(const end_state& end) {
  EXPECT_EQ(end.machine.read_file(end.what.path), "photo");
  // The other value of the pair is never touched.
  const auto& other_key = end.how.new_stars ? keywords_key : rating_key;
  const property_value other = end.how.new_stars ? property_value(old_tags) : old_rating;
  EXPECT_EQ(end.machine.properties.handler_value(end.what.path, other_key), other);
  EXPECT_EQ(end.machine.properties.property_set_value(end.what.path, other_key), other);
}

void check_folder(const end_state& end, const fault_round& round) {
  const simulated_machine& machine = round.machine;
  const std::uint32_t before =
      end.what.name == "protected_folder" ? attribute::directory | attribute::read_only : attribute::directory;
  const bool refused = round.planned.lasting == support::fault_lasting::from_then_on ||
                       (round.struck && round.struck->starts_with("set_attributes("));
  if (!refused || !end.logged("could not be given its attributes back")) {
    EXPECT_EQ(machine.entry(folder).attributes, before);
  }
  const bool mirror_failed = end.logged("could not be brought up to date");
  if (!machine.exists(folder_ini)) return;
  if (end.what.name == "protected_folder") {
    EXPECT_EQ(end.ini_value(L"Other", L"Key"), L"value");
  }
  if (!mirror_failed && end.raised.empty()) {
    EXPECT_EQ(machine.entry(folder_ini).attributes, ini_attributes);
  }
  if (mirror_failed || !end.raised.empty() || !end.in_property_set()) return;
  if (end.how.new_stars) {
    EXPECT_EQ(end.ini_value(L"QuillBox", L"Rating"), *end.how.new_stars == 4 ? L"4" : L"");
  } else {
    EXPECT_EQ(end.ini_value(L"QuillBox", L"Tags"), text::join_tag_list(end.new_tags()));
  }
}

using sweep_case = std::tuple<subject, action>;

class action_fault_sweep : public testing::TestWithParam<sweep_case> {};

TEST_P(action_fault_sweep, every_failing_call_is_told_or_another_route_stores_the_value) {
  // Names of their own: clang takes no structured bindings into a lambda.
  const subject& what = std::get<subject>(GetParam());
  const action& how = std::get<action>(GetParam());
  const fault_code codes[] = {
      win32_error::access_denied,         win32_error::sharing_violation, hresult::fail,
      hresult::storage_sharing_violation, hresult::access_denied,         support::short_write{}};
  std::string raised;
  const support::fault_scenario scenario = {what.prepare, [&](simulated_machine& machine) {
                                              support::open_log_below(machine);
                                              raised = raised_by([&] { how.run(what.path); });
                                            }};
  support::for_each_fault(codes, scenario, [&](const fault_round& round) {
    const end_state end{what, how, round.machine, raised, round.machine.log_lines()};
    check_known_message(end);
    check_that_nothing_is_hidden(end, round);
    if (end.is_folder()) {
      check_folder(end, round);
    } else {
      check_file(end);
    }
    if (!round.struck) {
      EXPECT_EQ(raised, "");
      EXPECT_TRUE(end.stored());
    }
  });
}

INSTANTIATE_TEST_SUITE_P(all, action_fault_sweep,
                         testing::Combine(testing::ValuesIn(subjects), testing::ValuesIn(actions)),
                         [](const testing::TestParamInfo<sweep_case>& instance) {
                           return std::get<1>(instance.param).name + "_of_" + std::get<0>(instance.param).name;
                         });

}  // namespace

}  // namespace quill_box::metadata
