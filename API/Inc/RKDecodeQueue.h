#pragma once
// By the owner of the decode queue.
