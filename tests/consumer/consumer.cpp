// Links against the installed library and makes one real call through its interface.
#include <Functions.h>

#include <cstdio>
#include <cstring>

int main()
{
#ifdef FUNCTIONS_EXPECTED_VERSION
    if (std::strcmp(FUNCTIONS_VERSION_STRING, FUNCTIONS_EXPECTED_VERSION) != 0 ||
        std::strcmp(functionsVersion(), FUNCTIONS_EXPECTED_VERSION) != 0) {
        std::fprintf(stderr, "consumer: headers %s and library %s, expected %s\n", FUNCTIONS_VERSION_STRING,
                     functionsVersion(), FUNCTIONS_EXPECTED_VERSION);
        return 1;
    }
#endif
    cv::Mat image(60, 100, CV_8U, cv::Scalar(20));
    image.colRange(50, 100).setTo(200);
    RotateRectROI roi(50, 30, 0, 40, 10);
    _EdgePointDetParam param;
    param.direction = LeftToRight;
    param.transition = DarkToLight;
    param.threshold = 50;
    param.roi = &roi;
    if (!clcEdgePoint(image, param) || param.x != 50.0 || param.y != 30.0) {
        std::fprintf(stderr, "consumer: unexpected result (%g, %g)\n", param.x, param.y);
        return 1;
    }
    std::printf("consumer: library %s, edge at (%g, %g)\n", functionsVersion(), param.x, param.y);
    return 0;
}
