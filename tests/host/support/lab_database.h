#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A small thumbnail database with rows in all tables, made without the service, whose pages are small and many.
struct SLabShape {
  int pageSize = 1024;
  int experiments = 30, history = 90, stored = 60, thumbnails = 40, texts = 40;
  std::string encoding = "UTF-8";  // as SQLite names it
};
void WriteLabDatabase(const std::string& path, const SLabShape& shape = {});

// What a page of it is for, as SQLite says.
struct SLabPage {
  std::string table;      // or index; "sqlite_schema" for the list of tables
  std::string kind;       // internal, leaf, overflow
  std::int64_t rows = 0;  // of a table's that go with it
};
// By the number of the page; free ones are empty.
std::vector<SLabPage> PagesOfDatabase(const std::string& path);

// A stream with the marks of a JPEG, of about this size.
std::vector<std::uint8_t> FakeJpeg(std::size_t size, int number);
