#pragma once
// By the owner of the still sequences.
