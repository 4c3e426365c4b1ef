#include "idle.h"

#include "lte_sdk.h"

static uint32_t on_event(const lct_event *event)
{
    (void)event;
    return 0;
}

bool become_reachable(void)
{
    static const lct_config config = {.callback = on_event};
    return lct_module_init(&config) == 0;
}
