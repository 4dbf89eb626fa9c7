// Events queued as SDL's sources queue them: a key going down or up, or the status
// monitor's wake-up (a user event with the status tick's code).
#pragma once

#include "base/user_events.h"

#include <SDL2/SDL.h>

inline SDL_Event pushEvent(Uint32 type, SDL_Keycode key = 0) {
    SDL_Event event;
    SDL_zero(event);
    event.type = type;
    event.key.keysym.sym = key;
    event.user.code = type == SDL_USEREVENT ? USER_EVENT_STATUS_TICK : 0;
    SDL_PushEvent(&event);
    return event;
}
