/* A C program on the installed tree: values are made, encoded, decoded and printed; errors have texts. */
#include <string.h>

#include <oxbase/oxbase.h>

static int fails(const char* what) {
  fprintf(stderr, "app: %s\n", what);
  return 1;
}

int main(void) {
  dnode *list = oxdAlloc(2), *copy = NULL;
  void* bytes = NULL;
  const char* name = NULL;
  uint32_t length = 0;

  if (list == NULL || oxdNext(list) == NULL) return fails("oxdAlloc");
  if (oxdSetAmibName(list, "11.1.1.0") != OX_OK) return fails("oxdSetAmibName");
  if (oxdSetValue(list, OX_DISPLAYSTRING, (uintptr_t) "text", 0) != OX_OK) return fails("oxdSetValue");
  if (oxdEncode(list, &bytes, &length) != OX_OK || length != 26) return fails("oxdEncode");
  if (oxdDecode(bytes, length, &copy) != OX_OK) return fails("oxdDecode");
  if (oxdGetAmibName(copy, &name) != OX_OK || strcmp(name, "11.1.1.0") != 0) return fails("oxdGetAmibName");
  if (strcmp(oxdGetValueByStr(copy), "text") != 0) return fails("oxdGetValueByStr");
  if (strcmp(oxcStrError(OX_ENOMEM), "Message Not Found") == 0) return fails("oxcStrError");
  if (oxaGet(NULL, "system:system", "11.1.1.0", NULL, 0, 0, &copy) != OX_ENOSESSION) return fails("oxaGet");
  oxdFree(list);
  oxdFree(copy);
  oxcMemFree(bytes);
  /* The thread keeps the block of its display texts for the next one. */
  return oxcGetMemValue(1) <= 1 ? 0 : fails("blocks are left");
}
