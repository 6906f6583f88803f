extern "C" int ContractAnswer();
int ContractAnswer() {
  return 42;
}
