#include "fingerprint.h"
#include <pixmill/core/console.h>
#include <pixmill/rows/rows.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <omp.h>
#include <sstream>

namespace pixmill::fingerprint {

cv::Mat Source::plane(cv::Size size, int type)
{
    cv::Mat out(size, type);
    const int channels = out.channels();
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            for (int c = 0; c < channels; ++c) {
                const unsigned block = (x / 23 + y / 31) % 2 * 17000u;
                const unsigned v = (x * 211u + y * 97u + c * 9000u + block + (next() >> 22)) & 0xffffu;
                const int at = x * channels + c;
                if (out.depth() == CV_8U)
                    out.ptr<std::uint8_t>(y)[at] = std::uint8_t(v >> 8);
                else if (out.depth() == CV_16U)
                    out.ptr<std::uint16_t>(y)[at] = std::uint16_t(v);
                else
                    out.ptr<float>(y)[at] = float(v) / 256 + float(next() >> 8) * 0x1p-32f; // no bit of 24 is spare
            }
    return out;
}

cv::Mat Source::around(cv::Size size, int reach)
{
    cv::Mat out = plane(size, CV_16UC1);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            auto& v = out.at<std::uint16_t>(y, x);
            v = std::uint16_t(32768 + (int(v) - 32768) * reach / 32768);
        }
    return out;
}

std::vector<float> Source::floats(int n, float reach, bool negative)
{
    std::vector<float> out(n);
    for (float& v : out)
        v = (float(next() >> 8) / (1 << 24) * (negative ? 2 : 1) - (negative ? 1 : 0)) * reach;
    return out;
}

void Hash::add(const cv::Mat& plane)
{
    for (const int v : {plane.rows, plane.cols, plane.type()})
        add(v);
    for (int y = 0; y < plane.rows; ++y)
        bytes(plane.ptr(y), plane.cols * plane.elemSize());
}

namespace {

using Lines = std::map<std::string, std::string>;

constexpr const char* kMayDiffer = "general sparse solver";

std::string hashOf(const Operation& operation)
{
    Source source(operation.name.size());
    Hash hash;
    try {
        operation.run(source, hash);
    } catch (const cv::Exception& thrown) {
        return std::string("refused: ") + thrown.what();
    } catch (const char* thrown) {
        return std::string("refused: ") + thrown;
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash.value()));
    return text;
}

Lines linesOf(const std::vector<Operations>& all)
{
    Lines lines;
    for (const Operations& some : all)
        for (const Operation& operation : some)
            lines[operation.name] = hashOf(operation);
    return lines;
}

Lines read(const char* path)
{
    Lines lines;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#')
            lines[line.substr(18)] = line.substr(0, 16);
    return lines;
}

/// Whether this build is without what the line is of.
bool leftOut([[maybe_unused]] const std::string& name)
{
#ifndef FINGERPRINT_SOLVER
    if (name.find(kMayDiffer) != std::string::npos)
        return true;
#endif
#ifndef FINGERPRINT_DEVELOP
    for (const char* part : {"Developer::", "Recipe ", "tilingOf "})
        if (name.rfind(part, 0) == 0)
            return true;
#endif
    return false;
}

/// Tells every line that is not as expected, and how many there are.
int differences(const Lines& expected, const Lines& found, const std::string& where)
{
    int count = 0;
    for (const auto& [name, hash] : found) {
        const auto line = expected.find(name);
        const bool same = line != expected.end() && line->second == hash;
        const bool may = name.find(kMayDiffer) != std::string::npos;
        if (!same)
            std::cout << (may ? "may differ: " : "DIFFERS: ") << name << ", " << where << ": " << hash << "\n";
        count += !same && !may;
    }
    return count;
}

int compare(const std::vector<Operations>& all, const char* path)
{
    Lines expected = read(path);
    for (auto line = expected.begin(); line != expected.end();)
        line = leftOut(line->first) ? expected.erase(line) : std::next(line);
    const int top = rows::rowPolicy().level;
    int count = 0, runs = 0;
    std::size_t lines = 0;
    for (int level = 0; level <= top; ++level)
        for (const int team : {1, 2, 3, 5}) {
            rows::rowPolicy() = {level, 1, team > 2};
            omp_set_num_threads(team);
            std::ostringstream where;
            where << "level " << level << ", " << team << " threads";
            const Lines found = linesOf(all);
            count += differences(expected, found, where.str());
            lines = found.size();
            ++runs;
        }
    std::cout << lines << " operations, " << runs << " ways, levels 0.." << top << ": " << count << " differ\n";
    return count == 0 && lines == expected.size() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int write(const std::vector<Operations>& all, const char* path)
{
    std::ofstream out(path);
    out << "# Hashes of what every operation gives for fixed inputs, on every processor and for every team.\n"
           "# Written by `fingerprint --write FILE`. A line that changes is a result that hosts see change.\n";
    for (const auto& [name, hash] : linesOf(all))
        out << hash << "  " << name << "\n";
    return out ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

} // namespace pixmill::fingerprint

/// fingerprint --compare FILE | --write FILE
int main(int argc, char** argv)
{
    using namespace pixmill::fingerprint;
    const std::vector<Operations> all = {primitives(), pictures(), adjustments(), filters(), steps(), develop()};
    const std::string what = argc == 3 ? argv[1] : "";
    if (what == "--compare")
        return compare(all, argv[2]);
    if (what == "--write")
        return write(all, argv[2]);
    std::cerr << "fingerprint --compare FILE | --write FILE\n";
    return EXIT_FAILURE;
}
