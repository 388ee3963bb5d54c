#include "batch_driver/job_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "logging/log.h"
#include "support/failure_of.h"
#include "support/fault_sweep.h"
#include "support/simulated_machine.h"
#include "text/conversions.h"

namespace {

using namespace quill_box::batch_processor;
using platform::win32_error;
using support::failure_of;
using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring job_path = LR"(C:\Temp\job.json)";

const std::string rating_job =
    R"({"version":"1","job":{"guid":"job-1","action_type":"set_rating","action_parameters":"4"},)"
    R"("files":[{"path":"C:\\Photos\\a.jpg"}]})";

std::vector<std::wstring> paths_of(const path_list& files) {
  std::vector<std::wstring> paths;
  for (std::size_t i = 0; i < files.size(); ++i)
    paths.push_back(files[i]);
  return paths;
}

class job_file : public testing::Test {
 protected:
  // Loads a job of this text, keeping the file.
  std::string load_failure(const std::string& json) {
    machine.write_file(job_path, json);
    return failure_of([this] {
      job_record job;
      load_job(job, std::wstring(job_path), false);
      loaded_files = paths_of(job.files);
    });
  }

  void expect_loaded(job_record& job, const std::string& json) {
    machine.write_file(job_path, json);
    EXPECT_TRUE(load_job(job, std::wstring(job_path), false));
  }

  support::scoped_machine machine;
  std::vector<std::wstring> loaded_files;
};

TEST_F(job_file, a_minimal_document_loads) {
  machine.write_file(job_path, rating_job);
  job_record job;
  std::wstring path = job_path;
  EXPECT_TRUE(load_job(job, std::move(path), true));
  EXPECT_EQ(job.version, L"1");
  EXPECT_EQ(job.action_type, L"set_rating");
  EXPECT_EQ(job.action_parameters, L"4");
  EXPECT_THAT(paths_of(job.files), ElementsAre(LR"(C:\Photos\a.jpg)"));
  EXPECT_EQ(job.source_path, job_path);
  EXPECT_TRUE(job.delete_on_destroy);
}

TEST_F(job_file, the_callers_path_is_left_empty) {
  machine.write_file(job_path, rating_job);
  job_record job;
  std::wstring path = job_path;
  load_job(job, std::move(path), false);
  EXPECT_EQ(path, L"");  // NOLINT(bugprone-use-after-move): that it is empty is promised
}

TEST_F(job_file, the_document_itself_keeps_the_guid) {
  machine.write_file(job_path, rating_job);
  const job_document document = read_job_document(job_path);
  EXPECT_EQ(document.guid, "job-1");
  EXPECT_EQ(document.version, "1");
  EXPECT_THAT(paths_of(document.files), ElementsAre(LR"(C:\Photos\a.jpg)"));
}

struct check_row {
  const char* json;
  const char* message;
};

constexpr const char* no_root = "JSON root must be an object";
constexpr const char* no_version = "Missing or invalid 'version' field";
constexpr const char* no_job = "Missing or invalid 'job' object";
constexpr const char* no_guid = "Missing or invalid 'guid' field in job";
constexpr const char* no_action = "Missing or invalid 'action_type' field in job";
constexpr const char* no_parameters = "Missing or invalid 'action_parameters' field in job";
constexpr const char* no_files = "Missing or invalid 'files' array";
constexpr const char* no_entry = "File entry must be an object";
constexpr const char* no_path = "Missing or invalid 'path' field in file entry";

TEST_F(job_file, each_check_has_its_message_for_a_missing_member_and_for_one_of_another_type) {
  constexpr check_row rows[] = {
      {"[]", no_root},
      {"\"text\"", no_root},
      {"null", no_root},
      {"1", no_root},
      {"{}", no_version},
      {R"({"version":1})", no_version},
      {R"({"version":null})", no_version},
      {R"({"version":{}})", no_version},
      {R"({"version":["1"]})", no_version},
      {R"({"version":"1"})", no_job},
      {R"({"version":"1","job":[]})", no_job},
      {R"({"version":"1","job":"x"})", no_job},
      {R"({"version":"1","job":null})", no_job},
      {R"({"version":"1","job":{}})", no_guid},
      {R"({"version":"1","job":{"guid":7}})", no_guid},
      {R"({"version":"1","job":{"guid":{}}})", no_guid},
      {R"({"version":"1","job":{"guid":"g"}})", no_action},
      {R"({"version":"1","job":{"guid":"g","action_type":0}})", no_action},
      {R"({"version":"1","job":{"guid":"g","action_type":["a"]}})", no_action},
      {R"({"version":"1","job":{"guid":"g","action_type":"a"}})", no_parameters},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":4}})", no_parameters},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":null}})", no_parameters},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":""}})", no_files},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":""},"files":{}})", no_files},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":""},"files":"a"})", no_files},
  };
  for (const check_row& row : rows)
    EXPECT_EQ(load_failure(row.json), row.message) << row.json;
}

std::string job_with_files(const std::string& files) {
  return R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":""},"files":)" + files + "}";
}

TEST_F(job_file, each_entry_is_checked_in_order) {
  constexpr check_row rows[] = {
      {R"([1])", no_entry},
      {R"(["C:\\a"])", no_entry},
      {R"([null])", no_entry},
      {R"([[{"path":"a"}]])", no_entry},
      {R"([{}])", no_path},
      {R"([{"path":1}])", no_path},
      {R"([{"path":null}])", no_path},
      {R"([{"path":["a"]}])", no_path},
      {R"([{"path":{"path":"a"}}])", no_path},
      {R"([{"Path":"a"}])", no_path},
      {R"([{"path":"a"},{},1])", no_path},
      {R"([{"path":"a"},1,{}])", no_entry},
  };
  for (const check_row& row : rows)
    EXPECT_EQ(load_failure(job_with_files(row.json)), row.message) << row.json;
}

TEST_F(job_file, a_wrong_head_is_reported_before_a_wrong_entry) {
  EXPECT_EQ(load_failure(R"({"files":[1],"version":"1","job":{"guid":"g","action_type":"a"}})"), no_parameters);
}

TEST_F(job_file, without_a_version_nothing_else_is_looked_at) {
  EXPECT_EQ(load_failure(R"({"files":[1],"job":{"guid":1}})"), no_version);
}

TEST_F(job_file, a_version_is_any_string) {
  EXPECT_EQ(load_failure(R"({"version":"","job":{"guid":"","action_type":"","action_parameters":""},"files":[]})"),
            "none");
}

TEST_F(job_file, no_files_pass) {
  EXPECT_EQ(load_failure(job_with_files("[]")), "none");
  EXPECT_THAT(loaded_files, IsEmpty());
}

TEST_F(job_file, missing_parameters_fail_an_action_that_reads_none) {
  EXPECT_EQ(load_failure(R"({"version":"1","job":{"guid":"g","action_type":"remove_rating"},"files":[]})"),
            no_parameters);
}

TEST_F(job_file, an_unknown_action_passes) {
  job_record job;
  expect_loaded(job, R"({"version":"1","job":{"guid":"g","action_type":"dance","action_parameters":""},"files":[]})");
  EXPECT_EQ(job.action_type, L"dance");
}

TEST_F(job_file, malformed_text_is_reported_as_a_wrong_root) {
  const std::string deep(2'000'000, '[');
  for (const std::string& json :
       {std::string(), std::string(" "), std::string("{"), std::string("{'version':'1'}"), rating_job + "garbage",
        rating_job + rating_job, rating_job + ",", rating_job.substr(0, rating_job.size() - 1),
        std::string("\xff\xfe{\0}\0", 6), "\xef\xbb\xbf" + rating_job, deep}) {
    EXPECT_EQ(load_failure(json), no_root) << json.substr(0, 200);
  }
}

TEST_F(job_file, a_document_cut_anywhere_is_reported_as_a_wrong_root) {
  for (std::size_t length = 0; length < rating_job.size(); ++length) {
    EXPECT_EQ(load_failure(rating_job.substr(0, length)), no_root) << length;
  }
}

TEST_F(job_file, white_space_around_the_document_is_fine) {
  EXPECT_EQ(load_failure(" \r\n\t" + rating_job + " \r\n\t"), "none");
}

TEST_F(job_file, other_members_and_the_order_of_all_are_ignored) {
  job_record job;
  expect_loaded(job, R"({"files":[{"size":1,"path":"b","more":{"path":"x"}},{"path":"a"}],"job":{"x":[{"guid":1}],)"
                     R"("action_parameters":"p","action_type":"t","guid":"g"},"extra":{"version":7},"version":"1"})");
  EXPECT_THAT(paths_of(job.files), ElementsAre(L"b", L"a"));
  EXPECT_EQ(job.action_parameters, L"p");
  EXPECT_EQ(job.action_type, L"t");
}

TEST_F(job_file, names_of_members_are_case_sensitive) { EXPECT_EQ(load_failure(R"({"Version":"1"})"), no_version); }

TEST_F(job_file, of_two_members_of_one_name_the_first_counts) {
  job_record job;
  expect_loaded(job, R"({"version":"1","version":"2","job":{"guid":"g","action_type":"a","action_type":"b",)"
                     R"("action_parameters":"c","action_parameters":1},"job":7,"files":[{"path":"x","path":"y"}],)"
                     R"("files":[{"path":"z"}]})");
  EXPECT_EQ(job.version, L"1");
  EXPECT_EQ(job.action_type, L"a");
  EXPECT_EQ(job.action_parameters, L"c");
  EXPECT_THAT(paths_of(job.files), ElementsAre(L"x"));
  EXPECT_EQ(load_failure(R"({"version":1,"version":"2"})"), no_version);
}

TEST_F(job_file, a_first_member_of_another_type_is_not_made_good_by_a_second_one) {
  const std::string head = R"("job":{"guid":"g","action_type":"a","action_parameters":""})";
  constexpr check_row rows[] = {
      {R"({"version":"1","job":7,)", no_job},
      {R"({"version":"1","job":[],)", no_job},
      {R"({"version":"1","job":{"guid":1,"guid":"g"},)", no_guid},
      {R"({"version":"1","job":{"guid":"g","action_type":null,"action_type":"a"},)", no_action},
      {R"({"version":"1","job":{"guid":"g","action_type":"a","action_parameters":{},"action_parameters":""},)",
       no_parameters},
      {R"({"version":"1","files":7,)", no_files},
      {R"({"version":"1","files":{},)", no_files},
      {R"({"version":"1","files":[{"path":1,"path":"a"}],)", no_path},
      {R"({"version":"1","files":[{"path":{},"path":"a"}],)", no_path},
  };
  for (const check_row& row : rows)
    EXPECT_EQ(load_failure(row.json + head + R"(,"files":[]})"), row.message) << row.json;
}

TEST_F(job_file, paths_keep_order_and_duplicates) {
  EXPECT_EQ(load_failure(job_with_files(R"([{"path":"b"},{"path":"a"},{"path":"b"}])")), "none");
  EXPECT_THAT(loaded_files, ElementsAre(L"b", L"a", L"b"));
}

TEST_F(job_file, every_text_is_cut_at_its_first_nul) {
  job_record job;
  expect_loaded(job, R"({"version":"1\u0000x","job":{"guid":"g","action_type":"set\u0000_rating",)"
                     R"("action_parameters":"\u00004"},"files":[{"path":"C:\\a\u0000b"},{"path":"\u0000"}]})");
  EXPECT_EQ(job.version, L"1");
  EXPECT_EQ(job.action_type, L"set");
  EXPECT_EQ(job.action_parameters, L"");
  EXPECT_THAT(paths_of(job.files), ElementsAre(LR"(C:\a)", L""));
}

TEST_F(job_file, text_beyond_ascii_arrives_from_bytes_and_from_escapes) {
  EXPECT_EQ(
      load_failure(job_with_files("[{\"path\":\"\xc3\xa9\xf0\x9f\x98\x80\"},{\"path\":\"\\u00e9\\ud83d\\ude00\"}]")),
      "none");
  EXPECT_THAT(loaded_files, ElementsAre(L"\u00e9\U0001f600", L"\u00e9\U0001f600"));
}

TEST_F(job_file, bytes_that_are_no_utf8_are_replaced) {
  EXPECT_EQ(load_failure(job_with_files("[{\"path\":\"a\xff"
                                        "b\"}]")),
            "none");
  EXPECT_THAT(loaded_files, ElementsAre(L"a\ufffd"
                                        L"b"));
}

TEST_F(job_file, an_escaped_lone_surrogate_is_malformed) {
  EXPECT_EQ(load_failure(job_with_files(R"([{"path":"a\ud83d"}])")), no_root);
}

TEST_F(job_file, a_path_of_100000_characters_loads) {
  EXPECT_EQ(load_failure(job_with_files(R"([{"path":")" + std::string(100'000, 'a') + R"("}])")), "none");
  ASSERT_EQ(loaded_files.size(), 1U);
  EXPECT_EQ(loaded_files[0].size(), 100'000U);
}

TEST_F(job_file, a_document_larger_than_any_buffer_loads) {
  std::string files = "[";
  for (int i = 0; i < 20'000; ++i)
    files += R"({"path":"C:\\Photos\\)" + std::to_string(i) + R"(.jpg"},)";
  files.back() = ']';
  EXPECT_EQ(load_failure(job_with_files(files)), "none");
  ASSERT_EQ(loaded_files.size(), 20'000U);
  EXPECT_EQ(loaded_files.back(), LR"(C:\Photos\19999.jpg)");
}

TEST_F(job_file, what_is_ignored_may_nest_a_million_deep) {
  const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
  EXPECT_EQ(load_failure(R"({"version":"1","extra":)" + deep + "}"), no_job);
}

TEST_F(job_file, nesting_without_end_is_refused) { EXPECT_EQ(load_failure(std::string(2'000'000, '[')), no_root); }

TEST_F(job_file, nesting_beyond_16_million_is_refused) {
  // Closed again, so that nothing but the depth is wrong.
  constexpr std::size_t levels = 16 << 20;
  const std::string deep = std::string(levels, '[') + std::string(levels, ']');
  EXPECT_EQ(load_failure(R"({"version":"1","extra":)" + deep + "}"), no_root);
}

TEST_F(job_file, a_byte_order_mark_in_front_is_malformed) {
  EXPECT_EQ(load_failure(std::string("\xef\xbb\xbf") + rating_job), no_root);
}

TEST_F(job_file, one_that_cannot_be_opened_is_named_with_its_shortened_path) {
  const std::wstring path = LR"(C:\Users\somebody\Pictures\Holiday 2024\Best Of\job.json)";
  EXPECT_EQ(failure_of([&path] { static_cast<void>(read_job_document(path)); }),
            "Failed to open JSON file: C:\\Users\\so...024\\Best Of\xe2\x80\x8b\\job.json");
}

TEST_F(job_file, one_that_another_program_has_open_for_writing_is_read) {
  machine.write_file(job_path, rating_job);
  const auto writer = machine.files.open(job_path, {platform::access::write, platform::share::all});
  EXPECT_EQ(failure_of([] { static_cast<void>(read_job_document(job_path)); }), "none");
}

TEST_F(job_file, the_file_goes_with_the_record) {
  machine.write_file(job_path, rating_job);
  {
    job_record job;
    load_job(job, std::wstring(job_path), true);
    EXPECT_TRUE(machine.exists(job_path));
  }
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(job_file, the_file_stays_when_the_caller_keeps_it) {
  machine.write_file(job_path, rating_job);
  {
    job_record job;
    load_job(job, std::wstring(job_path), false);
  }
  EXPECT_TRUE(machine.exists(job_path));
}

TEST_F(job_file, a_file_that_fails_to_load_goes_too) {
  machine.write_file(job_path, "no JSON");
  {
    job_record job;
    EXPECT_EQ(failure_of([&job] { load_job(job, std::wstring(job_path), true); }), no_root);
    EXPECT_EQ(job.source_path, job_path);
  }
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(job_file, a_file_that_cannot_be_opened_goes_too_if_it_exists) {
  machine.write_file(job_path, rating_job);
  machine.calls.refuse("open", job_path, win32_error::access_denied);
  {
    job_record job;
    EXPECT_NE(failure_of([&job] { load_job(job, std::wstring(job_path), true); }), "none");
  }
  EXPECT_FALSE(machine.exists(job_path));
}

TEST_F(job_file, nothing_is_deleted_where_nothing_is) {
  {
    job_record job;
    EXPECT_NE(failure_of([&job] { load_job(job, std::wstring(job_path), true); }), "none");
  }
  EXPECT_THAT(machine.calls.named({"delete_file"}), IsEmpty());
}

TEST_F(job_file, a_record_without_a_path_deletes_nothing) {
  { const job_record job; }
  EXPECT_THAT(machine.calls.all(), IsEmpty());
}

TEST_F(job_file, a_file_that_cannot_be_deleted_stays_and_only_the_log_hears_of_it) {
  logging::logger()->make_log_directory_and_open(L"", L"Processor", L"Quill Box");
  machine.write_file(job_path, rating_job).attributes = platform::attribute::read_only;
  {
    job_record job;
    load_job(job, std::wstring(job_path), true);
  }
  EXPECT_TRUE(machine.exists(job_path));
  ASSERT_EQ(machine.log_lines().size(), 1U);
  EXPECT_TRUE(machine.log_lines()[0].starts_with("[WARNING] Unable to delete the job file. Details remove: "))
      << machine.log_lines()[0];
}

TEST(job_file_faults, whatever_fails_while_loading_is_a_message_and_no_handle_stays_open) {
  const std::array<support::fault_code, 2> codes = {win32_error::gen_failure, win32_error::access_denied};
  std::string failure;
  const auto run = [&failure](support::simulated_machine&) {
    job_record job;
    failure = failure_of([&job] { load_job(job, std::wstring(job_path), true); });
  };
  support::for_each_fault(
      codes, {[](support::simulated_machine& machine) { machine.write_file(job_path, rating_job); }, run},
      [&failure](const support::fault_round& round) {
        const std::string struck = round.struck.value_or("");
        if (struck.starts_with("open")) {
          EXPECT_EQ(failure, "Failed to open JSON file: C:\\Temp\xe2\x80\x8b\\job.json");
        } else if (struck.starts_with("read")) {
          // A text that ends early is malformed; a failure behind its end does no harm.
          EXPECT_TRUE(failure == no_root || failure == "none") << failure;
        } else {
          EXPECT_EQ(failure, "none");
        }
        const bool deletion_failed = struck.starts_with("kind") || struck.starts_with("delete_file");
        const bool fails_to_the_end = round.struck && round.planned.lasting == support::fault_lasting::from_then_on;
        EXPECT_EQ(round.machine.exists(job_path), deletion_failed || fails_to_the_end);
      });
}

}  // namespace
