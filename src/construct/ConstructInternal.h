// Internal routines of constructive solving.
#pragma once
