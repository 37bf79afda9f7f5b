#include "KXFW/KXFW.h"

#include <cstdio>

int main(int argc, char **argv)
{
    const auto player = KXAFilePlayer::player();
    if (argc != 2 || !player->loadFileAtURL(argv[1]))
        return 1;
    player->setKeepsVolume(true); // also on another output device
    player->setLoop(true);
    player->setOffsetFramesPlay(22050, 22050, 66150); // position, start, end: frames of 44,100 a second
    player->play();
    std::puts("Playing one second in a loop; press Return to stop.");
    std::getchar();
    player->stop();
}
