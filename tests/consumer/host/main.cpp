// A host's first program: built against the package alone.
#include <pixmill/pixmill.h>

#include <cstdio>
#include <cstring>
#include <vector>

int main()
{
    const int width = 5, height = 3;
    std::vector<unsigned char> pixels(width * height * 4, 128), shown(pixels.size(), 0);
    TPImage picture(0, 0);
    picture.convertFrom(pixels.data(), width, height, width * 4);
    picture.convertTo(shown.data(), width * 4);
    const bool grey = shown[0] == 128 && shown[1] == 128 && shown[2] == 128 && shown[3] == 255;
    const bool same = std::strcmp(pixmill::version(), PIXMILL_VERSION) == 0;
    std::printf("libpixmill %s: %d x %d, first pixel %d %d %d\n", pixmill::version(), picture.m_Y.cols,
                picture.m_Y.rows, shown[2], shown[1], shown[0]);
    TWLSFilter filter; // a host links the solver too, where there is one
    std::vector<float> plane(width * height, 1.0f), guide(plane);
    filter.Proc(plane.data(), width, height, 1.0f, 1.2f, guide.data(), false);
    return grey && same ? 0 : 1;
}
