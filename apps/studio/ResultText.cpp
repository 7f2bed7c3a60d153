#include "ResultText.h"

#include <cmath>
#include <cstdio>
#include <map>

namespace studio {

namespace {

std::string fixed(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string pointText(const json& p)
{
    return "(" + fixed(p[0].get<double>(), 2) + ", " + fixed(p[1].get<double>(), 2) + ")";
}

bool isNumberList(const json& value)
{
    if (!value.is_array() || value.empty() || value.size() > 4)
        return false;
    for (const json& v : value)
        if (!v.is_number())
            return false;
    return true;
}

void flattenInto(const std::string& prefix, const json& value, std::vector<std::pair<std::string, std::string>>& out)
{
    if (value.is_object()) {
        for (auto it = value.begin(); it != value.end(); ++it)
            flattenInto(prefix.empty() ? it.key() : prefix + "." + it.key(), it.value(), out);
    } else if (isNumberList(value)) {
        static const char* const axes[] = {"x", "y"};
        for (size_t i = 0; i < value.size(); ++i)
            out.emplace_back(prefix + "." + (value.size() == 2 ? axes[i] : std::to_string(i)), value[i].dump());
    } else if (value.is_array()) {
        out.emplace_back(prefix + ".count", std::to_string(value.size()));
    } else if (value.is_string()) {
        out.emplace_back(prefix, value.get<std::string>());
    } else {
        out.emplace_back(prefix, value.dump());
    }
}

std::string joinedRow(const std::vector<std::string>& cells, char separator, bool quote)
{
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i)
            line += separator;
        const std::string& cell = cells[i];
        if (quote && cell.find_first_of(",\"\r\n") != std::string::npos) {
            line += '"';
            for (char c : cell)
                line += c == '"' ? std::string("\"\"") : std::string(1, c);
            line += '"';
        } else if (!quote) {
            // Tabs and line breaks would split the cell when pasted.
            for (char c : cell)
                line += (c == '\t' || c == '\n' || c == '\r') ? ' ' : c;
        } else {
            line += cell;
        }
    }
    return line + (quote ? "\r\n" : "\n");
}

std::string joinedTable(const ResultTable& table, char separator, bool quote)
{
    std::string text = joinedRow(table.header, separator, quote);
    for (const std::vector<std::string>& row : table.cells)
        text += joinedRow(row, separator, quote);
    return text;
}

} // namespace

std::string resultSummary(const Measurement& m, bool brief)
{
    if (!m.ran)
        return m.error.empty() ? "not measured" : m.error;
    const json& o = m.outputs;
    const json& q = m.quality;
    // "value ± half the 95 % interval" where the tool judged its fit, the value alone otherwise.
    const auto valued = [&q](double value, const char* qualityName, int decimals) {
        std::string text = fixed(value, decimals);
        if (q.is_object() && q.contains(qualityName) && q.at(qualityName).at("ci95")[0].is_number()) {
            const json& ci = q.at(qualityName).at("ci95");
            text += " ± " + fixed((ci[1].get<double>() - ci[0].get<double>()) / 2, decimals);
        }
        return text;
    };
    std::vector<std::string> parts;
    if (!m.success && m.diagnostics.contains("failure"))
        parts.push_back(m.diagnostics.at("failure").get<std::string>());
    if (o.contains("radius")) {
        const double r = o.at("radius").get<double>();
        parts.push_back("Ø " + valued(2 * r, "diameter", 3) + " px");
    }
    if (o.contains("centre"))
        parts.push_back("centre " + pointText(o.at("centre")));
    if (o.contains("startAngle"))
        parts.push_back(fixed(o.at("startAngle").get<double>(), 1) + "° .. " +
                        fixed(o.at("endAngle").get<double>(), 1) + "°");
    if (o.contains("point"))
        parts.push_back("edge " + pointText(o.at("point")));
    if (o.contains("angle"))
        parts.push_back("angle " + valued(o.at("angle").get<double>(), "angle", 3) + "°");
    if (o.contains("meanDistance"))
        parts.push_back("width " + valued(o.at("meanDistance").get<double>(), "width", 3) + " px");
    if (o.contains("skew"))
        parts.push_back("skew " + fixed(o.at("skew").get<double>(), 2) + "°");
    if (o.contains("count"))
        parts.push_back(std::to_string(o.at("count").get<long long>()) + " found");
    else if (o.contains("positions"))
        parts.push_back(std::to_string(o.at("positions").size()) + " edges");
    if (m.diagnostics.contains("outliers") && m.diagnostics.at("outliers").get<int>() > 0)
        parts.push_back(std::to_string(m.diagnostics.at("outliers").get<int>()) + " outliers");
    std::string text;
    for (size_t i = 0; i < parts.size() && (!brief || i == 0); ++i)
        text += (text.empty() ? "" : "  ") + parts[i];
    return m.success ? text : "failed: " + text;
}

std::vector<std::pair<std::string, std::string>> flattenMeasurement(const Measurement& m)
{
    std::vector<std::pair<std::string, std::string>> out;
    flattenInto("", m.outputs, out);
    if (!m.quality.is_null())
        flattenInto("quality", m.quality, out);
    // The per-point list is for drawing; its counts and the failure are the table's.
    json diagnostics = m.diagnostics;
    diagnostics.erase("points");
    flattenInto("diagnostics", diagnostics, out);
    return out;
}

std::vector<std::pair<std::string, std::string>> flattenOutputs(const json& outputs)
{
    std::vector<std::pair<std::string, std::string>> out;
    flattenInto("", outputs, out);
    return out;
}

ResultTable tabulate(const std::vector<ResultRow>& rows)
{
    ResultTable table;
    table.header = {"image", "roi", "tool", "success", "error"};
    std::map<std::string, size_t> column;
    std::vector<std::vector<std::pair<std::string, std::string>>> flat;
    for (const ResultRow& row : rows) {
        flat.push_back(flattenMeasurement(row.measurement));
        for (const auto& [name, value] : flat.back())
            if (column.emplace(name, table.header.size()).second)
                table.header.push_back(name);
    }
    for (size_t r = 0; r < rows.size(); ++r) {
        const Measurement& m = rows[r].measurement;
        std::vector<std::string> cells(table.header.size());
        cells[0] = rows[r].image;
        cells[1] = rows[r].entry.name;
        cells[2] = rows[r].entry.tool;
        cells[3] = m.ran ? (m.success ? "true" : "false") : "";
        cells[4] = m.error;
        for (const auto& [name, value] : flat[r])
            cells[column.at(name)] = value;
        table.cells.push_back(std::move(cells));
    }
    return table;
}

std::string toCsv(const ResultTable& table)
{
    return joinedTable(table, ',', true);
}

std::string toTabSeparated(const ResultTable& table)
{
    return joinedTable(table, '\t', false);
}

} // namespace studio
