#include <pixmill/develop/Recipe.h>

#include <pixmill/develop/Error.h>

#include <cmath>
#include <fstream>
#include <locale>
#include <sstream>
#include <utility>

namespace pixmill {

namespace {

constexpr int kLeastSize = 2, kMostSize = 129;

/// A `.cube` file, line by line.
class CubeReader {
public:
    explicit CubeReader(const std::string& path) : m_path(path), m_file(path)
    {
        if (!m_file)
            throw Error("Table3D::load", "path", "a .cube file that can be read", path);
    }

    Table3D read()
    {
        std::string line;
        while (std::getline(m_file, line)) {
            ++m_line;
            take(line);
        }
        if (m_table.size == 0)
            refuse("a line LUT_3D_SIZE");
        if (m_entries.size() != wanted())
            refuse(std::to_string(wanted() / 3) + " lines of three numbers, not " +
                   std::to_string(m_entries.size() / 3));
        m_table.path = m_path;
        m_table.entries = std::make_shared<const std::vector<unsigned short>>(std::move(m_entries));
        return m_table;
    }

private:
    void take(const std::string& line)
    {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word) || word[0] == '#' || word == "TITLE")
            return;
        if (word == "LUT_3D_SIZE") {
            if (!(words >> m_table.size) || m_table.size < kLeastSize || m_table.size > kMostSize)
                refuse("a size of 2..129");
            m_entries.reserve(wanted());
        } else if (word == "DOMAIN_MIN" || word == "DOMAIN_MAX") {
            takeDomain(words, word == "DOMAIN_MAX" ? 1.0f : 0.0f);
        } else {
            takeTriple(line);
        }
    }

    void takeDomain(std::istream& words, float end)
    {
        for (int i = 0; i < 3; ++i) {
            float v = -1;
            if (!(words >> v) || v != end)
                refuse("a domain of 0..1");
        }
    }

    void takeTriple(const std::string& line)
    {
        if (m_table.size == 0)
            refuse("LUT_3D_SIZE before the first triple");
        std::istringstream words(line);
        words.imbue(std::locale::classic());
        for (int i = 0; i < 3; ++i) {
            float v = 0;
            if (!(words >> v) || !std::isfinite(v))
                refuse("three numbers");
            m_entries.push_back((unsigned short)(std::lrint(std::fmin(std::fmax(v, 0.0f), 1.0f) * 65535.0f)));
        }
        if (m_entries.size() > wanted())
            refuse("no more than " + std::to_string(wanted() / 3) + " lines of three numbers");
    }

    std::size_t wanted() const { return std::size_t(m_table.size) * m_table.size * m_table.size * 3; }

    [[noreturn]] void refuse(const std::string& wanted) const
    {
        throw Error("Table3D::load", m_path + " line " + std::to_string(m_line), wanted, "another");
    }

    std::string m_path;
    std::ifstream m_file;
    int m_line = 0;
    Table3D m_table;
    std::vector<unsigned short> m_entries;
};

} // namespace

Table3D Table3D::load(const std::string& path)
{
    return CubeReader(path).read();
}

bool Table3D::operator==(const Table3D& o) const
{
    if (path != o.path || size != o.size || strength != o.strength)
        return false;
    return entries == o.entries || (entries && o.entries && *entries == *o.entries);
}

} // namespace pixmill
