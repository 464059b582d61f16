// The report as text for a terminal on the device: 80 columns, tables grouped by day.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/saturated_cast.h"
#include "host/report/report_formats.h"

namespace tl::host::report {

namespace {

constexpr size_t kWidth = 80;

std::string Duration(double seconds) {
  const bool negative = seconds < 0;
  const int64_t minutes = SaturatedRound<int64_t>(std::fabs(seconds) / 60.0);
  char text[32];
  std::snprintf(text, sizeof text, "%s%lld:%02lld", negative ? "-" : "",
                static_cast<long long>(minutes / 60), static_cast<long long>(minutes % 60));
  return text;
}

std::string Fixed(double value, int decimals) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string Show(const Column& column, const Cell& cell) {
  if (auto* s = std::get_if<std::string>(&cell)) return *s;
  const auto number = NumberOf(cell);
  if (!number) return "n/a";
  switch (column.kind) {
    case Kind::kDuration:
      return Duration(*number);
    case Kind::kEnergy:
    case Kind::kPower:
    case Kind::kCount:
      return Fixed(*number, 0);
    case Kind::kPercent:
      return Fixed(*number, std::fabs(*number) < 10 ? 1 : 0);
    default:
      return Fixed(*number, *number == std::trunc(*number) ? 0 : 2);
  }
}

// Durations read as h:mm, as the header of the report says; other units follow the name.
std::string Header(const Column& column) {
  if (column.kind == Kind::kDuration || column.unit.empty()) return column.header;
  return column.header + " " + column.unit;
}

// Words wrapped to the width, each line starting with indent.
std::string Wrap(const std::string& text, const std::string& indent) {
  std::string out, line = indent;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(start, end - start);
    if (line.size() > indent.size() && line.size() + 1 + word.size() > kWidth) {
      out += line + "\n";
      line = indent + "  ";
    }
    if (line.size() > indent.size() && line.back() != ' ') line += ' ';
    line += word;
    start = end + 1;
  }
  return out + line + "\n";
}

// Columns side by side, text left and numbers right; the widest text column gives way when the
// table would not fit.
std::string Grid(const std::vector<std::string>& headers, const std::vector<bool>& left,
                 std::vector<std::vector<std::string>> rows) {
  std::vector<size_t> width(headers.size());
  for (size_t c = 0; c < headers.size(); ++c) {
    width[c] = headers[c].size();
    for (const auto& row : rows) width[c] = std::max(width[c], row[c].size());
  }
  auto total = [&] {
    size_t sum = 0;
    for (size_t w : width) sum += w + 2;
    return sum;
  };
  while (total() > kWidth) {
    size_t widest = 0;
    for (size_t c = 0; c < width.size(); ++c) {
      if (left[c] && width[c] > width[widest]) widest = c;
    }
    if (!left[widest] || width[widest] <= 8) break;
    --width[widest];
  }
  auto line = [&](const std::vector<std::string>& cells) {
    std::string out;
    for (size_t c = 0; c < cells.size(); ++c) {
      std::string cell = cells[c];
      if (cell.size() > width[c]) cell = cell.substr(0, width[c] - 1) + "~";
      const std::string pad(width[c] - cell.size(), ' ');
      out += (c ? "  " : "") + (left[c] ? cell + pad : pad + cell);
    }
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out + "\n";
  };
  std::string out = line(headers);
  for (const auto& row : rows) out += line(row);
  return out;
}

// A grid that fits the width with its text columns readable: when they would be cut below
// kLeastText characters, the other columns are shown in two grids, each with the text columns.
constexpr size_t kLeastText = 20;

std::string Fitted(const std::vector<std::string>& headers, const std::vector<bool>& left,
                   const std::vector<std::vector<std::string>>& rows) {
  size_t total = 0, text = 0;
  std::vector<size_t> numbers;
  for (size_t c = 0; c < headers.size(); ++c) {
    size_t width = headers[c].size();
    for (const auto& row : rows) width = std::max(width, row[c].size());
    total += width + 2;
    if (left[c]) {
      text += width;
    } else {
      numbers.push_back(c);
    }
  }
  if (total <= kWidth || text - std::min(text, total - kWidth) >= kLeastText ||
      numbers.size() < 4) {
    return Grid(headers, left, rows);
  }
  std::string out;
  const size_t half = (numbers.size() + 1) / 2;
  for (size_t part = 0; part < 2; ++part) {
    std::vector<size_t> shown;
    for (size_t c = 0; c < headers.size(); ++c) {
      const size_t at = std::find(numbers.begin(), numbers.end(), c) - numbers.begin();
      if (left[c] || (part == 0 ? at < half : at >= half && at < numbers.size())) {
        shown.push_back(c);
      }
    }
    std::vector<std::string> someHeaders;
    std::vector<bool> someLeft;
    for (size_t c : shown) {
      someHeaders.push_back(headers[c]);
      someLeft.push_back(left[c]);
    }
    std::vector<std::vector<std::string>> someRows;
    for (const auto& row : rows) {
      std::vector<std::string> cells;
      for (size_t c : shown) cells.push_back(row[c]);
      someRows.push_back(std::move(cells));
    }
    out += Grid(someHeaders, someLeft, someRows);
  }
  return out;
}

// A table of the days transposed: one line per measure, one column per day, for the cards.
std::string Cards(const Table& table) {
  std::string out;
  // As many days side by side as fit.
  const size_t perBlock = std::max<size_t>(1, (kWidth - 22) / 12);
  for (size_t first = 0; first < table.rows.size(); first += perBlock) {
    const size_t last = std::min(table.rows.size(), first + perBlock);
    std::vector<std::string> headers{""};
    std::vector<bool> left{true};
    for (size_t r = first; r < last; ++r) {
      headers.push_back(std::get<std::string>(table.rows[r][0]));
      left.push_back(false);
    }
    std::vector<std::vector<std::string>> rows;
    for (size_t c = 1; c < table.columns.size(); ++c) {
      std::vector<std::string> line{Header(table.columns[c])};
      for (size_t r = first; r < last; ++r)
        line.push_back(Show(table.columns[c], table.rows[r][c]));
      rows.push_back(std::move(line));
    }
    out += Grid(headers, left, rows);
  }
  return out;
}

// A table with a day column, one block per day without the column.
std::string ByDay(const Table& table) {
  std::string out;
  std::vector<std::string> headers;
  std::vector<bool> left;
  for (size_t c = 1; c < table.columns.size(); ++c) {
    headers.push_back(Header(table.columns[c]));
    left.push_back(table.columns[c].kind == Kind::kText);
  }
  std::string day;
  std::vector<std::vector<std::string>> rows;
  auto flush = [&] {
    if (!rows.empty()) out += "-- " + day + "\n" + Fitted(headers, left, rows);
    rows.clear();
  };
  for (const auto& row : table.rows) {
    const std::string rowDay = std::get<std::string>(row[0]);
    if (rowDay != day) {
      flush();
      day = rowDay;
    }
    std::vector<std::string> cells;
    for (size_t c = 1; c < row.size(); ++c) cells.push_back(Show(table.columns[c], row[c]));
    rows.push_back(std::move(cells));
  }
  flush();
  return out;
}

std::string Plain(const Table& table) {
  std::vector<std::string> headers;
  std::vector<bool> left;
  for (const Column& column : table.columns) {
    headers.push_back(Header(column));
    left.push_back(column.kind == Kind::kText);
  }
  std::vector<std::vector<std::string>> rows;
  for (const auto& row : table.rows) {
    std::vector<std::string> cells;
    for (size_t c = 0; c < row.size(); ++c) cells.push_back(Show(table.columns[c], row[c]));
    rows.push_back(std::move(cells));
  }
  return Grid(headers, left, rows);
}

}  // namespace

std::string RenderText(const Report& report) {
  std::string out = "tallyd report";
  if (!report.days.empty()) out += ", " + report.days.front() + " to " + report.days.back();
  out += "\n";
  // The answers first: the summary of the last days shown.
  constexpr size_t kSummaryDays = 7;
  if (!report.summary.empty()) {
    out += "\n== Summary\n";
    const size_t first =
        report.summary.size() > kSummaryDays ? report.summary.size() - kSummaryDays : 0;
    if (first > 0) {
      out += Wrap("The last " + std::to_string(kSummaryDays) + " days; --format json holds the " +
                      "summary of every day.",
                  "");
    }
    for (size_t i = first; i < report.summary.size(); ++i) {
      out += "-- " + report.summary[i].day + "\n";
      for (const std::string& sentence : report.summary[i].sentences) out += Wrap(sentence, "  ");
    }
  }
  out += "\n";
  for (const std::string& sentence : report.reading) out += Wrap(sentence, "  ");
  for (const Stretch& s : report.notRecorded) {
    out += Wrap("Not recorded: " + LocalClock(s.from, s.utcOffset) + " to " +
                    LocalClock(s.to, s.utcOffset) + " (" + s.why + ").",
                "  ");
  }
  if (report.days.empty()) return out + "\nThe store holds nothing for these days.\n";
  for (const Table& table : report.tables) {
    out += "\n== " + table.title + "\n";
    if (table.rows.empty()) {
      out += "(none)\n";
      continue;
    }
    if (!table.note.empty()) out += Wrap(table.note, "");
    if (table.name == "days" || table.name == "nights") {
      out += Cards(table);
    } else if (!table.columns.empty() && table.columns[0].kind == Kind::kDay) {
      out += ByDay(table);
    } else {
      out += Plain(table);
    }
  }
  return out;
}

}  // namespace tl::host::report
