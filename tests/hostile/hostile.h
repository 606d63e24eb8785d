#pragma once

#include <opencv2/core.hpp>

#include <random>
#include <string>
#include <tuple>
#include <vector>

/// Calls with hostile arguments: a row a function, whose arguments are made by their types.
namespace pixmill::hostile {

using cv::Mat;
using Mats = std::vector<cv::Mat>;

/// A side of a raw buffer, or below: a raw buffer cannot be larger than it is.
struct Side {
    int value;
    operator int() const { return value; }
};

/// Bytes from row to row of a raw buffer: both ways, none.
struct Stride {
    int value;
    operator int() const { return value; }
};

/// Memory that is never null; `T*` may be.
template <class T>
struct Buffer {
    T* data;
    operator T*() const { return data; }
};

/// Three raw planes, now and then without one.
template <class T>
struct Planes {
    T* planes[3];
    operator T**() { return planes; }
};

/// Random arguments from a seed. Every argument is told to the log, by which a failure is replayed.
class Rng {
public:
    Rng(unsigned long seed, const char* function, char* log, std::size_t room);

    int below(int n) { return int(m_engine() % unsigned(n)); }
    bool oneIn(int n) { return below(n) == 0; }
    void tell(const std::string& argument);

    int number(); ///< INT_MIN, -1, 0, small, INT_MAX.
    int side();   ///< The same up to 48.
    int size();   ///< Of a plane: 1..48, seldom 300.
    double real();
    Mat plane();    ///< Mostly of the call's own size or half of it, and of a common type.
    void* memory(); ///< Half of kBuffer bytes on either side.

    cv::Size common; ///< The call's own size and type.
    int type;

private:
    std::mt19937_64 m_engine;
    Mat m_last;
    char* m_log;
    std::size_t m_room;
};

constexpr std::size_t kBuffer = 1 << 20;

/// An argument of type T; a class of the library has its own.
template <class T>
struct Make {
    static T from(Rng& r)
    {
        if constexpr (std::is_enum_v<T>)
            return T(r.below(5) - 1);
        else if constexpr (std::is_floating_point_v<T>)
            return T(r.real());
        else if constexpr (std::is_same_v<T, int> || std::is_same_v<T, long>)
            return r.number();
        else
            return T(r.below(256));
    }
};
template <>
struct Make<Mat> {
    static Mat from(Rng& r) { return r.plane(); }
};
template <>
struct Make<Mats> {
    static Mats from(Rng& r)
    {
        Mats planes(r.oneIn(8) ? 0 : 1 + r.below(4));
        for (Mat& plane : planes)
            plane = r.plane();
        return planes;
    }
};
template <>
struct Make<Side> {
    static Side from(Rng& r) { return {r.side()}; }
};
template <>
struct Make<Stride> {
    static Stride from(Rng& r) { return {r.oneIn(4) ? 0 : r.oneIn(4) ? -1280 : 1280}; }
};
template <>
struct Make<cv::Point> {
    static cv::Point from(Rng& r)
    {
        return r.oneIn(3) ? cv::Point(r.number(), r.number()) : cv::Point(r.below(60), r.below(60));
    }
};
template <>
struct Make<cv::Rect> {
    static cv::Rect from(Rng& r) { return {r.number(), r.number(), r.number(), r.number()}; }
};
template <class T>
struct Make<Buffer<T>> {
    static Buffer<T> from(Rng& r) { return {static_cast<T*>(r.memory())}; }
};
template <class T>
struct Make<Planes<T>> {
    static Planes<T> from(Rng& r)
    {
        Planes<T> made;
        for (T*& plane : made.planes)
            plane = r.oneIn(24) ? nullptr : static_cast<T*>(r.memory());
        return made;
    }
};
template <class T>
struct Make<T*> {
    static T* from(Rng& r)
    {
        const bool none = r.oneIn(8);
        r.tell(none ? "null" : "memory");
        return none ? nullptr : static_cast<T*>(r.memory());
    }
};

template <class Object, class... Args>
void callWith(Rng& r, const Object& f, void (Object::*)(Args...) const)
{
    std::tuple<std::decay_t<Args>...> made{Make<std::decay_t<Args>>::from(r)...}; // braces: from left to right
    std::apply([&](auto&... arguments) { f(static_cast<Args>(arguments)...); }, made);
}

/// Calls `f`, which returns nothing, with arguments by the types of its parameters.
template <class F>
void call(Rng& r, const F& f)
{
    callWith(r, f, &F::operator());
}

struct Row {
    const char* name;
    void (*run)(Rng&);
};

#define HOSTILE(name, ...)                                                                                             \
    {                                                                                                                  \
        name, [](Rng& r) { call(r, [] __VA_ARGS__); }                                                                  \
    }

std::vector<Row> pictureRows();    ///< core, planar, engine
std::vector<Row> adjustmentRows(); ///< curves, adjust, mask
std::vector<Row> filterRows();     ///< filters, multiscale, resample
std::vector<Row> primitiveRows();

} // namespace pixmill::hostile
