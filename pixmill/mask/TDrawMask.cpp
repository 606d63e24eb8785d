#include <pixmill/mask/TDrawMask.h>

#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/types.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/checked.h>
#include <pixmill/rows/plane.h>

#include <memory>

using namespace pixmill::rows;

namespace {

using Stack = std::vector<TMaskCmd*>;

void push(Stack& stack, int type, const TMaskParam* param = nullptr)
{
    auto command = std::make_unique<TMaskCmd>();
    auto kept = param ? std::make_unique<TMaskParam>(*param) : nullptr;
    stack.push_back(command.get());
    command->m_type = type;
    command->m_param_p = kept.release();
    command.release();
}

/// Drops the last command and tells its type; of an entry that a host made null, -1.
int pop(Stack& stack)
{
    const std::unique_ptr<TMaskCmd> command(stack.back());
    stack.pop_back();
    if (!command)
        return -1;
    delete command->m_param_p;
    return command->m_type;
}

/// The last fill at or after `first`, or the index before `first`.
int lastFill(const Stack& stack, int first)
{
    int i = int(stack.size()) - 1;
    const auto isFill = [](const TMaskCmd* command) { return command && command->m_type == MASK_CMD_SET; };
    while (i >= first && !isFill(checked(stack, i)))
        --i;
    return i;
}

const TMaskCmd& commandOf(const TMaskCmd* command, const char* call)
{
    checkPointer(command, call, "m_cmdStack's entry");
    return *command;
}

} // namespace

void TDrawMask::setInImage(TPImage* image)
{
    const char* call = "TDrawMask::setInImage";
    checkPointer(image, call, "image");
    checkPlane(image->m_Y, call, "m_Y");
    checkPlane(image->m_mask, call, "m_mask");
    const cv::Mat& Y = image->m_Y;
    const cv::Size half = halfSize(Y.size());
    const bool hadPicture = !m_Y8.empty();
    if (hadPicture && m_Y8.size() == half && Y.type() == CV_16UC1)
        return;
    cv::Mat halfY(half, CV_16UC1);
    downSize2X(Y, halfY, IPPI_INTER_CUBIC);
    halfY.convertTo(m_Y8, CV_8U, 1.0 / 255, 0.0);
    m_Dr = image->m_Dr;
    m_Db = image->m_Db;
    m_maskInit = image->m_mask;
    m_maskInit.copyTo(m_mask);
    m_changed = true;
    if (hadPicture)
        emptyCmdStack();
}

void TDrawMask::setInImage(const cv::Mat& y8, const cv::Mat& dr, const cv::Mat& db)
{
    checkPlane(y8, "TDrawMask::setInImage", "y8");
    const bool hadPicture = !m_Y8.empty();
    if (hadPicture && m_Y8.size() == y8.size())
        return;
    m_Y8 = y8;
    m_Dr = dr;
    m_Db = db;
    m_mask.create(y8.size(), CV_8UC1);
    resetMask(m_mask, 255);
    m_changed = true;
    if (hadPicture)
        emptyCmdStack();
}

void TDrawMask::setValue(unsigned char value)
{
    TMaskParam param;
    param.m_value = value;
    param.m_opacity = 1.0f;
    push(m_cmdStack, MASK_CMD_SET, &param);
}

void TDrawMask::invert()
{
    push(m_cmdStack, MASK_CMD_INVERT);
}

void TDrawMask::drawStart(int i, float f)
{
    TMaskParam param;
    param.m_startInt = i;
    param.m_startFloat = f;
    push(m_cmdStack, MASK_CMD_STROKE_START, &param);
}

void TDrawMask::drawADot(const cv::Point& pt, unsigned char value, int diameter)
{
    drawADot(pt, value, diameter, diameter, 1.0f, 0.0f);
}

void TDrawMask::drawADot(const cv::Point& pt, unsigned char value, int outerDiameter, int innerDiameter, float opacity,
                         float edge)
{
    TMaskParam param;
    param.m_value = value;
    param.m_outerRadius = outerDiameter / 2;
    param.m_innerRadius = innerDiameter / 2;
    param.m_opacity = opacity;
    param.m_edge = edge;
    param.m_center = {pt.x / 2, pt.y / 2};
    push(m_cmdStack, MASK_CMD_DOT, &param);
}

void TDrawMask::drawEnd()
{
    push(m_cmdStack, MASK_CMD_STROKE_END);
}

bool TDrawMask::proc()
{
    const int n = int(m_cmdStack.size());
    if (m_cmdDone >= n - 1)
        return true;
    const int fill = lastFill(m_cmdStack, m_cmdDone + 1);
    if (fill > m_cmdDone)
        m_cmdDone = fill - 1;
    if (m_cmdDone < 0) {
        resetMask(m_mask, 255);
        m_changed = true;
    }
    cv::Rect stale({}, m_mask.size());
    for (int i = m_cmdDone + 1; i < n; ++i) {
        apply(commandOf(checked(m_cmdStack, i), "TDrawMask::proc"), stale);
        ++m_cmdDone;
    }
    return true;
}

void TDrawMask::apply(const TMaskCmd& command, cv::Rect& stale)
{
    const cv::Rect whole({}, m_mask.size());
    if (command.m_type == MASK_CMD_SET || command.m_type == MASK_CMD_DOT)
        checkPointer(command.m_param_p, "TDrawMask::proc", "m_param_p");
    switch (command.m_type) {
    case MASK_CMD_SET:
        resetMask(m_mask, command.m_param_p->m_value);
        stale = whole;
        m_changed = true;
        break;
    case MASK_CMD_INVERT:
        invertMask();
        stale = whole;
        m_changed = true;
        break;
    case MASK_CMD_STROKE_START:
        m_strokeOpen = true;
        break;
    case MASK_CMD_DOT:
        checkPlane(m_mask, "TDrawMask::drawStrokeDot", "m_mask");
        drawDot(m_strokeOpen, *command.m_param_p, stale);
        m_strokeOpen = false;
        m_changed = true;
        break;
    }
}

int TDrawMask::undo()
{
    if (m_cmdStack.empty())
        throw "Error: TFDrawMask::undo Mask cmd stack is empty!!!";
    const int type = commandOf(m_cmdStack.back(), "TDrawMask::undo").m_type;
    if (type == MASK_CMD_SET || type == MASK_CMD_INVERT)
        pop(m_cmdStack);
    else if (type == MASK_CMD_STROKE_END)
        while (!m_cmdStack.empty() && pop(m_cmdStack) != MASK_CMD_STROKE_START) {
        }
    const int fill = lastFill(m_cmdStack, 0);
    m_cmdDone = fill < 0 ? -1 : fill - 1;
    return -1;
}

void TDrawMask::reset()
{
    if (m_mask.empty() || fits(m_maskInit, m_mask.size(), CV_8UC1))
        m_maskInit.copyTo(m_mask);
    else
        resetMask(m_mask, 255);
    m_changed = true;
    emptyCmdStack();
}

void TDrawMask::emptyCmdStack()
{
    while (!m_cmdStack.empty())
        pop(m_cmdStack);
    m_cmdDone = -1;
}

bool TDrawMask::bNeedUpdate() const
{
    return int(m_cmdStack.size()) - 1 > m_cmdDone;
}

bool TDrawMask::invertMask()
{
    if (ippiXorC_8u_C1IR(255, m_mask.data, int(m_mask.step), {m_mask.cols, m_mask.rows}) != ippStsNoErr)
        throw "Error - TFDrawMask::invertMask - ippStsError";
    return true;
}

bool TDrawMask::resetMask(cv::Mat& mask, unsigned char value)
{
    if (ippiSet_8u_C1R(value, mask.data, int(mask.step), {mask.cols, mask.rows}) != ippStsNoErr)
        throw "Error - TFDrawMask::resetMask - ippStsError";
    return true;
}

cv::Mat TDrawMask::getMaskRoi(const cv::Rect& roi, int scale)
{
    if (m_mask.empty())
        return {};
    cv::Mat view =
        scale < 1 ? m_mask.clone() : TPImage::MatRoi(m_mask, roi.x, roi.y, roi.width, roi.height, scale, true, false);
    m_changed = false;
    return view;
}
