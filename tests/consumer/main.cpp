// A host's first program: built against the installed package alone.
#include <pixmill/pixmill.h>

#include <cstdio>
#include <vector>

int main()
{
    const int width = 5, height = 3;
    std::vector<unsigned char> pixels(width * height * 4, 128), shown(pixels.size(), 0);
    TPImage picture(0, 0);
    picture.convertFrom(pixels.data(), width, height, width * 4);
    picture.convertTo(shown.data(), width * 4);
    const bool grey = shown[0] == 128 && shown[1] == 128 && shown[2] == 128 && shown[3] == 255;
    std::printf("%d x %d, first pixel %d %d %d\n", picture.m_Y.cols, picture.m_Y.rows, shown[2], shown[1], shown[0]);
    return grey ? 0 : 1;
}
