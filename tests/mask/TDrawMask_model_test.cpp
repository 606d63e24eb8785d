#include <pixmill/mask/TDrawMask.h>
#include <reference/brush.h>
#include <support/planes.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace pixmill::test;
using pixmill::reference::Brush;

namespace {

struct Command {
    int type;
    TMaskParam param;
};

// The document as a plain list, and the mask as one that every replay paints with the slow brush.
struct Model {
    std::vector<Command> commands;
    int done = -1;
    bool strokeOpen = false, changed = false;
    cv::Mat init;
    Brush brush;

    void run(const Command& c)
    {
        switch (c.type) {
        case MASK_CMD_SET:
            brush.mask.setTo(c.param.m_value);
            break;
        case MASK_CMD_INVERT:
            brush.mask = 255 - brush.mask;
            break;
        case MASK_CMD_STROKE_START:
            strokeOpen = true;
            break;
        case MASK_CMD_DOT:
            brush.strokeDot(strokeOpen, c.param);
            strokeOpen = false;
            break;
        }
        changed = changed || c.type == MASK_CMD_SET || c.type == MASK_CMD_INVERT || c.type == MASK_CMD_DOT;
    }

    int lastFill(int from) const
    {
        for (int i = int(commands.size()) - 1; i >= from; --i)
            if (commands[i].type == MASK_CMD_SET)
                return i;
        return -1;
    }

    // The text of what was thrown, or empty.
    std::string proc()
    {
        const int n = int(commands.size());
        if (done >= n - 1)
            return {};
        if (const int fill = lastFill(done + 1); fill >= 0)
            done = fill - 1;
        if (done < 0) {
            brush.mask.setTo(255);
            changed = true;
        }
        while (done < n - 1) {
            try {
                run(commands[done + 1]);
            } catch (const char* text) {
                return text;
            }
            ++done;
        }
        return {};
    }

    void undo()
    {
        const int type = commands.back().type;
        if (type == MASK_CMD_SET || type == MASK_CMD_INVERT)
            commands.pop_back();
        if (type == MASK_CMD_STROKE_END)
            for (int popped = type; popped != MASK_CMD_STROKE_START && !commands.empty();) {
                popped = commands.back().type;
                commands.pop_back();
            }
        const int fill = lastFill(0);
        done = fill < 0 ? -1 : fill - 1;
    }

    void drop()
    {
        commands.clear();
        done = -1;
    }

    // The mask of a whole document in which every dot stands in its stroke, and no stroke holds anything else.
    cv::Mat fromScratch() const
    {
        Model fresh;
        fresh.brush = brush;
        fresh.brush.mask = cv::Mat(brush.mask.size(), CV_8UC1, cv::Scalar(255));
        for (size_t i = size_t(std::max(lastFill(0), 0)); i < commands.size(); ++i)
            fresh.run(commands[i]);
        return fresh.brush.mask;
    }
};

struct Script {
    TDrawMask painter;
    Model model;
    cv::RNG rng;
    const bool tidy; // strokes whole and by themselves, radii valid, the mask touched by commands alone
    bool inStroke = false;

    Script(unsigned seed, bool isTidy) : rng(seed * 2654435761u + 99), tidy(isTidy)
    {
        takePlanes({rng.uniform(1, 70), rng.uniform(1, 50)});
    }

    bool chance(int percent) { return rng.uniform(0, 100) < percent; }

    void takePlanes(cv::Size size)
    {
        const unsigned seed = unsigned(rng.uniform(1, 1000));
        const cv::Mat y8 = scenePlane(size, CV_8UC1, 0, 256, seed), dr = scenePlane(size, CV_16UC1, 30000, 36000, seed),
                      db = scenePlane(size, CV_16UC1, 31000, 34000, seed + 1);
        const bool hadPicture = !painter.m_Y8.empty(), sameSize = painter.m_Y8.size() == size;
        painter.setInImage(y8, dr, db);
        if (hadPicture && sameSize)
            return;
        model.brush.y8 = y8.clone();
        model.brush.dr = dr.clone();
        model.brush.db = db.clone();
        model.brush.mask = cv::Mat(size, CV_8UC1, cv::Scalar(255));
        model.changed = true;
        if (hadPicture)
            model.drop();
        inStroke = false;
    }

    void takePicture(cv::Size size)
    {
        TPImage image(size.width, size.height);
        const cv::Size half((size.width + 1) / 2, (size.height + 1) / 2);
        const unsigned seed = unsigned(rng.uniform(1, 1000));
        image.m_Y = scenePlane(size, CV_16UC1, 0, 65536, seed);
        image.m_Dr = scenePlane(half, CV_16UC1, 30000, 36000, seed).clone();
        image.m_Db = scenePlane(half, CV_16UC1, 31000, 34000, seed + 1).clone();
        image.m_mask = randomPlane(half, CV_8UC1, 0, 256, seed).clone();
        const bool sameSize = painter.m_Y8.size() == half;
        painter.setInImage(&image);
        if (sameSize)
            return;
        model.brush.y8 = painter.m_Y8.clone(); // how luma is reduced is another test's
        model.brush.dr = image.m_Dr;
        model.brush.db = image.m_Db;
        model.init = image.m_mask;
        model.brush.mask = image.m_mask.clone();
        model.changed = true;
        model.drop();
        inStroke = false;
    }

    void dot()
    {
        const cv::Size size = model.brush.mask.size();
        const cv::Point at(rng.uniform(-40, 2 * size.width + 40), rng.uniform(-40, 2 * size.height + 40));
        const auto value = uchar(rng.uniform(0, 256));
        const int outer = rng.uniform(chance(5) ? -6 : 0, 60);
        TMaskParam p;
        p.m_center = {at.x / 2, at.y / 2};
        p.m_value = value;
        p.m_outerRadius = p.m_innerRadius = outer / 2;
        p.m_opacity = 1.0f;
        if (chance(35)) {
            painter.drawADot(at, value, outer);
        } else {
            const int inner = chance(20) ? outer : rng.uniform(0, (tidy ? std::max(outer, 1) : 62));
            const float edges[] = {0.0f, 0.0f, 0.04f, 0.05f, 0.3f, 1.0f, 5.0f, -1.0f};
            p.m_edge = edges[rng.uniform(0, 8)];
            p.m_opacity = chance(30) ? 1.0f : rng.uniform(0.0f, 1.2f);
            p.m_innerRadius = inner / 2;
            if (tidy && p.m_innerRadius > p.m_outerRadius)
                p.m_innerRadius = p.m_outerRadius;
            painter.drawADot(at, value, outer, 2 * p.m_innerRadius, p.m_opacity, p.m_edge);
        }
        model.commands.push_back({MASK_CMD_DOT, p});
    }

    void record(int type)
    {
        TMaskParam p;
        switch (type) {
        case MASK_CMD_SET:
            p.m_value = uchar(rng.uniform(0, 256));
            painter.setValue(p.m_value);
            break;
        case MASK_CMD_INVERT:
            painter.invert();
            break;
        case MASK_CMD_STROKE_START:
            painter.drawStart(1, 2.0f);
            inStroke = true;
            break;
        case MASK_CMD_DOT:
            return dot();
        case MASK_CMD_STROKE_END:
            painter.drawEnd();
            inStroke = false;
            break;
        }
        model.commands.push_back({type, p});
    }

    void proc()
    {
        std::string thrown;
        try {
            EXPECT_TRUE(painter.proc());
        } catch (const char* text) {
            thrown = text;
        }
        EXPECT_EQ(thrown, model.proc());
        if (tidy && !model.commands.empty()) {
            EXPECT_TRUE(samePixels<uchar>(model.fromScratch(), painter.m_mask)) << "replayed from scratch";
        }
    }

    void undo()
    {
        if (model.commands.empty())
            return;
        EXPECT_EQ(painter.undo(), -1);
        model.undo();
    }

    void touchDirectly()
    {
        if (chance(50)) {
            painter.invertMask();
            model.brush.mask = 255 - model.brush.mask;
        } else {
            const auto v = uchar(rng.uniform(0, 256));
            painter.resetMask(painter.m_mask, v);
            model.brush.mask.setTo(v);
        }
    }

    void view()
    {
        const cv::Mat mask = painter.getMaskRoi({0, 0, 2, 2}, 0);
        model.changed = false;
        EXPECT_TRUE(samePixels<uchar>(model.brush.mask, mask));
    }

    void reset()
    {
        painter.reset();
        model.init.size() == model.brush.mask.size() ? model.init.copyTo(model.brush.mask)
                                                     : void(model.brush.mask.setTo(255));
        model.changed = true;
        model.drop();
        inStroke = false;
    }

    void drop()
    {
        painter.emptyCmdStack();
        model.drop();
        inStroke = false;
    }

    void step()
    {
        const int what = rng.uniform(0, 1000);
        if (what < 450) {
            static const int inside[] = {MASK_CMD_DOT, MASK_CMD_DOT, MASK_CMD_DOT, MASK_CMD_STROKE_END};
            static const int outside[] = {MASK_CMD_STROKE_START, MASK_CMD_STROKE_START, MASK_CMD_INVERT, MASK_CMD_SET};
            record(!tidy      ? rng.uniform(0, 5)
                   : inStroke ? inside[rng.uniform(0, 4)]
                              : outside[rng.uniform(0, 3 + chance(30))]);
        } else if (what < 780) {
            proc();
        } else if (what < 920) {
            undo();
        } else if (what < 950) {
            view();
        } else if (what < 965) {
            reset();
        } else if (what < 975) {
            drop();
        } else if (what < 990) {
            tidy ? proc() : touchDirectly();
        } else if (what < 995) {
            takePlanes(chance(50) ? painter.m_Y8.size() : cv::Size(rng.uniform(1, 70), rng.uniform(1, 50)));
        } else {
            takePicture(chance(50) ? painter.m_Y8.size() * 2 : cv::Size(rng.uniform(2, 140), rng.uniform(2, 100)));
        }
    }

    void check() const
    {
        ASSERT_EQ(painter.m_cmdStack.size(), model.commands.size());
        ASSERT_EQ(painter.m_cmdDone, model.done);
        ASSERT_EQ(painter.bNeedUpdate(), int(model.commands.size()) - 1 > model.done);
        ASSERT_EQ(painter.m_changed, model.changed);
        ASSERT_EQ(painter.m_strokeOpen, model.strokeOpen);
        ASSERT_TRUE(samePixels<uchar>(model.brush.mask, painter.m_mask));
        if (painter.m_strokeCover.size() == model.brush.cover.size() && !model.brush.cover.empty()) {
            ASSERT_TRUE(samePixels<uchar>(model.brush.cover, painter.m_strokeCover));
        }
    }
};

void play(unsigned seed, bool tidy, int steps)
{
    SCOPED_TRACE(testing::Message() << "seed " << seed << (tidy ? " tidy" : " wild"));
    Script script(seed, tidy);
    for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(testing::Message() << "step " << i);
        script.step();
        script.check();
    }
}

} // namespace

TEST(TDrawMaskModel, WholeStrokesReplayAsFromScratch)
{
    for (unsigned seed = 1; seed <= 40; ++seed)
        play(seed, true, 400);
}

TEST(TDrawMaskModel, AnyCommandsInAnyOrderMatchTheModel)
{
    for (unsigned seed = 101; seed <= 160; ++seed)
        play(seed, false, 500);
}
