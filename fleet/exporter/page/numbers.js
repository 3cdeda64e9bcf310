// Numbers and times for people.

const whole = new Intl.NumberFormat('en', { maximumFractionDigits: 0 });
const short = new Intl.NumberFormat('en', { maximumFractionDigits: 1 });
export const count = (number) => whole.format(number ?? 0);
export const rateText = (number) => (number > 0 && number < 0.05 ? '<0.1' : short.format(number));

export function sizeText(bytes) {
  const units = ['B', 'KB', 'MB', 'GB', 'TB', 'PB'];
  let unit = 0;
  for (; bytes >= 1000 && unit < units.length - 1; unit++) bytes /= 1000;
  return `${short.format(bytes)} ${units[unit]}`;
}

export function durationText(ms) {
  const s = Math.max(0, Math.floor(ms / 1000));
  if (s < 60) return `${s} s`;
  if (s < 3600) return `${Math.floor(s / 60)} min`;
  if (s < 86400) return `${Math.floor(s / 3600)} h ${Math.floor((s % 3600) / 60)} min`;
  return `${Math.floor(s / 86400)} d ${Math.floor((s % 86400) / 3600)} h`;
}

export function clockText(ms) {
  const time = new Date(ms);
  const parts = [time.getHours(), time.getMinutes(), time.getSeconds()].map((part) => String(part).padStart(2, '0'));
  return `${parts.join(':')}.${String(time.getMilliseconds()).padStart(3, '0')}`;
}
