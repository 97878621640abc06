// Internal routines of numeric solving.
#pragma once
