// The confirm action of the quit dialog: "stop" when "/tmp/btdev_addr" exists (a headset
// is connected), then kWinResultQuit. Window thread only.
#pragma once

#include "zmenu.h"

class QuitAction : public Action {
public:
    QuitAction();
    ~QuitAction() override;
    int dowork(void* arg) override;

    void* mReserved;
};
