// placeholder until the room is written
#pragma once
