#include "organize/geo/byte_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "organize/geo/geo_bytes.h"
#include "platform/machine.h"
#include "support/simulated_machine.h"

namespace {

using namespace geo_bytes;
using quill_box::organize::byte_reader;

constexpr std::size_t longest_string = 65535;

class byte_reader_test : public testing::Test {
 protected:
  // A reader of a file with these bytes, of which `size` are asked for.
  byte_reader& reader_of(const std::string& bytes, std::uint64_t size) {
    file_.reset();
    machine.write_file(LR"(C:\data.bin)", bytes);
    file_ = *platform::current().files.open(LR"(C:\data.bin)", {});
    reader_ = std::make_unique<byte_reader>(*file_, size);
    return *reader_;
  }
  byte_reader& reader_of(const std::string& bytes) { return reader_of(bytes, bytes.size()); }

  support::scoped_machine machine;

 private:
  std::unique_ptr<platform::file> file_;
  std::unique_ptr<byte_reader> reader_;
};

TEST_F(byte_reader_test, fields_come_whole_wherever_a_block_of_the_file_ends) {
  for (std::size_t shift = 0; shift < 20; ++shift) {
    std::string bytes(shift, 'x');
    for (int i = 0; i < 30; ++i)
      bytes += text(std::string(longest_string - 7, static_cast<char>('a' + i))) + number(i + 0.5);
    byte_reader& reader = reader_of(bytes);
    EXPECT_EQ(reader.bytes(shift), std::string(shift, 'x'));
    for (int i = 0; i < 30; ++i) {
      ASSERT_TRUE(reader.string() == std::string(longest_string - 7, static_cast<char>('a' + i))) << shift << ", " << i;
      ASSERT_EQ(reader.number<double>(), i + 0.5) << shift << ", " << i;
    }
    EXPECT_EQ(reader.rest(), 0U);
    EXPECT_FALSE(reader.is_past_end());
  }
}

TEST_F(byte_reader_test, the_rest_counts_what_is_not_read_yet) {
  byte_reader& reader = reader_of(std::string(300'000, 'x'));
  EXPECT_EQ(reader.rest(), 300'000U);
  static_cast<void>(reader.number<std::uint32_t>());
  EXPECT_EQ(reader.rest(), 299'996U);
}

TEST_F(byte_reader_test, copies_over_many_blocks) {
  std::string bytes;
  for (int i = 0; bytes.size() < 500'000; ++i)
    bytes += std::to_string(i);
  byte_reader& reader = reader_of(bytes);
  EXPECT_EQ(reader.bytes(3), bytes.substr(0, 3));
  std::string copy(bytes.size() - 5, ' ');
  reader.copy_to(std::as_writable_bytes(std::span(copy)));
  EXPECT_TRUE(copy == bytes.substr(3, copy.size()));
  EXPECT_EQ(reader.rest(), 2U);
  EXPECT_FALSE(reader.is_past_end());
}

TEST_F(byte_reader_test, a_copy_stops_where_the_bytes_end) {
  byte_reader& reader = reader_of("abc");
  std::string copy = "----------";
  reader.copy_to(std::as_writable_bytes(std::span(copy)));
  EXPECT_EQ(copy, "abc-------");
  EXPECT_TRUE(reader.is_past_end());
}

TEST_F(byte_reader_test, a_file_that_got_shorter_ends_where_it_ends) {
  byte_reader& reader = reader_of("abcdef", 1'000'000);
  EXPECT_EQ(reader.bytes(4), "abcd");
  EXPECT_EQ(reader.rest(), 2U);
  EXPECT_EQ(reader.number<std::uint32_t>(), 0U);
  EXPECT_TRUE(reader.is_past_end());
  EXPECT_EQ(reader.rest(), 0U);
  EXPECT_EQ(reader.string(), "");
}

TEST_F(byte_reader_test, a_file_that_grew_ends_where_it_ended) {
  byte_reader& reader = reader_of("abcdef", 4);
  EXPECT_EQ(reader.bytes(4), "abcd");
  EXPECT_EQ(reader.bytes(1), "");
  EXPECT_TRUE(reader.is_past_end());
}

class unreadable_file final : public platform::file {
 public:
  platform::win32_result<std::size_t> read(std::span<std::byte> /*buffer*/) override {
    return platform::win32_error::read_fault;
  }
  platform::win32_result<std::size_t> write(std::span<const std::byte> /*bytes*/) override { return refused; }
  platform::win32_error seek(std::uint64_t /*position*/) override { return refused; }
  platform::win32_result<std::uint64_t> size() override { return refused; }
  platform::win32_error set_end() override { return refused; }
  platform::win32_error set_last_write_time(platform::file_time /*time*/) override { return refused; }
  platform::win32_error close() override { return refused; }

 private:
  static constexpr platform::win32_error refused = platform::win32_error::access_denied;
};

TEST(byte_reader, a_file_that_cant_be_read_has_no_bytes) {
  unreadable_file file;
  byte_reader reader(file, 100);
  EXPECT_EQ(reader.bytes(4), "");
  EXPECT_TRUE(reader.is_past_end());
  EXPECT_EQ(reader.rest(), 0U);
}

}  // namespace
